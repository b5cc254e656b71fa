#include "assets/sha256.h"

#include <openssl/evp.h>

#include <array>
#include <stdexcept>

namespace vok::launcher_assets
{
namespace
{

constexpr qsizetype kDigestBytes = 32;

/// Fetched once: looking the algorithm up costs more than the digest of a small file.
const EVP_MD* sha256Algorithm()
{
    static const std::unique_ptr<EVP_MD, decltype(&EVP_MD_free)> algorithm(
        EVP_MD_fetch(nullptr, "SHA256", nullptr), &EVP_MD_free);
    return algorithm.get();
}

void require(int result)
{
    if (result != 1)
        throw std::runtime_error("SHA-256 of libcrypto failed");
}

} // namespace

void Sha256::Deleter::operator()(evp_md_ctx_st* context) const
{
    EVP_MD_CTX_free(context);
}

Sha256::Sha256()
    : m_context(EVP_MD_CTX_new())
{
    reset();
}

void Sha256::reset()
{
    require(EVP_DigestInit_ex2(m_context.get(), sha256Algorithm(), nullptr));
}

void Sha256::update(const char* data, qsizetype size)
{
    require(EVP_DigestUpdate(m_context.get(), data, static_cast<size_t>(size)));
}

QByteArray Sha256::hexDigest()
{
    std::array<char, kDigestBytes> digest = {};
    require(EVP_DigestFinal_ex(m_context.get(), reinterpret_cast<unsigned char*>(digest.data()), nullptr));
    return QByteArray::fromRawData(digest.data(), kDigestBytes).toHex();
}

} // namespace vok::launcher_assets
