#include "transport/tls_trust.h"

#include <QFile>
#include <QFileInfo>
#include <QSslCertificate>
#include <QSslSocket>

#include <stdexcept>

namespace vok
{
namespace
{

constexpr qint64 kLargestCaFileBytes = 4194304;

QByteArray readCaFile(const QString& path)
{
    QFile file(path);
    // A pipe in the file's place would hold the window for ever.
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly) || file.size() > kLargestCaFileBytes)
        throw std::runtime_error("Cannot read configured CA file");
    QByteArray pem = file.read(kLargestCaFileBytes);
    if (file.error() != QFileDevice::NoError)
        throw std::runtime_error("Cannot read configured CA file");
    return pem;
}

} // namespace

QSslConfiguration tlsConfiguration(const QString& caFile)
{
    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    tls.setProtocol(QSsl::TlsV1_2OrLater);
    tls.setPeerVerifyMode(QSslSocket::VerifyPeer);
    if (caFile.isEmpty())
        return tls;
    const QList<QSslCertificate> trusted = QSslCertificate::fromData(readCaFile(caFile), QSsl::Pem);
    if (trusted.isEmpty())
        throw std::runtime_error("Configured CA contains no PEM certificates");
    tls.setCaCertificates(trusted);
    return tls;
}

} // namespace vok
