#include "client/session_hand_over.h"

#include "accounts/secret_bytes.h"

#include <QProcess>

#include <memory>

namespace vok::launcher_client
{
namespace
{

struct SecretLine
{
    explicit SecretLine(QByteArrayView secret)
        : bytes(secret.size() + 1, Qt::Uninitialized)
    {
        std::copy(secret.begin(), secret.end(), bytes.begin());
        bytes.back() = '\n';
    }
    ~SecretLine() { overwrite(bytes); }
    Q_DISABLE_COPY_MOVE(SecretLine)

    QByteArray bytes;
};

} // namespace

void handOverSession(QProcess& process, QByteArrayView session)
{
    const auto line = std::make_shared<SecretLine>(session);
    const auto forgetOnceSent = [&process, line] {
        if (process.bytesToWrite() == 0)
            overwrite(line->bytes);
    };
    QObject::connect(&process, &QProcess::bytesWritten, &process, forgetOnceSent);
    QObject::connect(&process, &QProcess::finished, &process, [line] { overwrite(line->bytes); });
    // Raw data goes into QProcess's buffer as the pointer that it is. Any other QByteArray would be copied or shared,
    // and its bytes given back to the heap as they are.
    process.write(QByteArray::fromRawData(line->bytes.constData(), line->bytes.size()));
    process.closeWriteChannel();
}

} // namespace vok::launcher_client
