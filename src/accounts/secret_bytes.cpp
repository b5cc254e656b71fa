#include "accounts/secret_bytes.h"

#include <algorithm>

namespace vok
{

QByteArray ownedCopy(QByteArrayView source)
{
    return QByteArray(source.data(), source.size());
}

void appendOwned(QByteArray& secret, QByteArrayView more)
{
    if (secret.capacity() - secret.size() < more.size()) {
        QByteArray larger;
        larger.reserve(std::max(2 * secret.capacity(), secret.size() + more.size()));
        larger.append(secret.constData(), secret.size());
        overwrite(secret);
        secret.swap(larger);
    }
    secret.append(more.data(), more.size());
}

void overwrite(QByteArray& secret)
{
    secret.fill('\0');
    // clear() would give the buffer back at once and let the compiler see the zeros as dead stores.
    secret.resize(0);
}

} // namespace vok
