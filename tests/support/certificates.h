/// Certificates for tests, made by the openssl tool when a test first asks for them.
#pragma once

#include <QList>
#include <QSslCertificate>
#include <QSslKey>
#include <QString>
#include <QStringList>

#include <memory>

namespace vok::test_support
{

enum class Validity
{
    Current,
    Expired,
    NotYet
};

/// What a server certificate shall say.
struct CertificateWish
{
    /// As openssl writes alternative names: "DNS:localhost", "IP:127.0.0.1".
    QStringList names = {QStringLiteral("DNS:localhost"), QStringLiteral("IP:127.0.0.1")};
    Validity validity = Validity::Current;
};

/// What a server needs to show itself.
struct ServerIdentity
{
    QString certificatePath; ///< PEM, the server's own first, then every intermediate
    QString keyPath;         ///< PEM, without a passphrase
    QList<QSslCertificate> chain;
    QSslKey key;
};

/// A certificate authority with an EC key. Within one process the same name stands for the same authority, and the same
/// wish to it gives the same identity, so that each is paid for once. All files lie in a temporary folder that goes
/// with the process. A failure of the tool ends the test program.
class TestAuthority
{
public:
    explicit TestAuthority(const QString& name);

    /// The authority's own certificate as a PEM file. Of an intermediate it is no root.
    QString pemPath() const;
    QSslCertificate certificate() const;

    ServerIdentity issue(const CertificateWish& wish = {}) const;

    /// An authority that this one certifies. Its identities bring its certificate along.
    TestAuthority intermediate(const QString& name) const;

private:
    struct Files;

    explicit TestAuthority(std::shared_ptr<const Files> files);

    std::shared_ptr<const Files> m_files;
};

} // namespace vok::test_support
