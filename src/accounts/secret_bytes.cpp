#include "accounts/secret_bytes.h"

namespace vok
{

QByteArray ownedCopy(QByteArrayView source)
{
    return QByteArray(source.data(), source.size());
}

void overwrite(QByteArray& secret)
{
    secret.fill('\0');
    // clear() would give the buffer back at once and let the compiler see the zeros as dead stores.
    secret.resize(0);
}

} // namespace vok
