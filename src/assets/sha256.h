/// SHA-256 by libcrypto, which uses the processor's own instructions for it.
#pragma once

#include <QByteArray>

#include <memory>

struct evp_md_ctx_st;

namespace vok::launcher_assets
{

/// One running digest, to be used for any number of messages one after the other.
class Sha256
{
public:
    /// Throws std::runtime_error where libcrypto offers no SHA-256.
    Sha256();

    /// Starts a new message.
    void reset();
    /// Adds `size` bytes to the message.
    void update(const char* data, qsizetype size);
    /// Ends the message: its digest as 64 lower-case hexadecimal characters.
    QByteArray hexDigest();

private:
    struct Deleter
    {
        void operator()(evp_md_ctx_st* context) const;
    };
    std::unique_ptr<evp_md_ctx_st, Deleter> m_context;
};

} // namespace vok::launcher_assets
