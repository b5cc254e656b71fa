#include "accounts/secret_bytes.h"
#include "client/session_hand_over.h"

#include <QProcess>

#include <algorithm>
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

// QProcess's writer for pipes takes an array as it is and shares its bytes. As raw data they stay ours to overwrite,
// once the pipe has them or the process has ended.
SessionHandOver prepareSessionHandOver(QProcess& process)
{
    return [&process](QByteArrayView session) {
        const auto line = std::make_shared<SecretLine>(session);
        QObject::connect(&process, &QProcess::bytesWritten, &process, [&process, line] {
            if (process.bytesToWrite() == 0)
                overwrite(line->bytes);
        });
        QObject::connect(&process, &QProcess::finished, &process, [line] { overwrite(line->bytes); });
        process.write(QByteArray::fromRawData(line->bytes.constData(), line->bytes.size()));
        process.closeWriteChannel();
    };
}

} // namespace vok::launcher_client
