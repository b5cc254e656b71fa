#include "support/certificates.h"

#include "support/temp_tree.h"

#include <QDateTime>
#include <QMap>
#include <QProcess>

using namespace Qt::Literals::StringLiterals;

namespace vok::test_support
{

/// What the tool's `ca` command works with.
struct TestAuthority::Files
{
    QString folder;           ///< relative to the process's temporary folder
    QByteArray chainOfIssued; ///< PEM of the intermediates that belong to every certificate issued here
    QString certificatePath;
};

namespace
{

constexpr int kToolTimeoutMs = 30000;
constexpr int kDay = 86400;

const TempTree& folder()
{
    static const TempTree tree;
    return tree;
}

QString nextName()
{
    static int count = 0;
    return QString::number(++count);
}

void runOpenssl(const QStringList& arguments)
{
    QProcess tool;
    tool.setProcessChannelMode(QProcess::MergedChannels);
    tool.start(u"openssl"_s, arguments, QIODevice::ReadOnly);
    if (!tool.waitForFinished(kToolTimeoutMs) || tool.exitStatus() != QProcess::NormalExit || tool.exitCode() != 0)
        qFatal("openssl %s: %s", qPrintable(arguments.join(u' ')), tool.readAll().constData());
}

// The tool's default configuration is the distribution's, and adds what nobody asked for.
QByteArray configuration(const QString& name, const QString& path, const QString& subjectAltName)
{
    return u"[req]\nprompt = no\ndistinguished_name = subject\n"
           "[subject]\ncommonName = %1\n"
           "[ca]\ndefault_ca = authority\n"
           "[authority]\nnew_certs_dir = %2\ndatabase = %2/index\nrand_serial = yes\nunique_subject = no\n"
           "default_md = sha256\npolicy = any\n"
           "[any]\ncommonName = supplied\n"
           "[authority_extensions]\nbasicConstraints = critical, CA:TRUE\nkeyUsage = critical, keyCertSign, cRLSign\n"
           "subjectKeyIdentifier = hash\n"
           "[server_extensions]\nbasicConstraints = critical, CA:FALSE\nkeyUsage = critical, digitalSignature\n"
           "extendedKeyUsage = serverAuth\nsubjectAltName = %3\n"_s.arg(name, path, subjectAltName)
               .toUtf8();
}

QString toolTime(qint64 secondsFromNow)
{
    return QDateTime::currentDateTimeUtc().addSecs(secondsFromNow).toString(u"yyyyMMddHHmmss"_s) + u'Z';
}

QStringList period(Validity validity)
{
    const auto between = [](int first, int last) {
        return QStringList{
            u"-startdate"_s, toolTime(qint64{first} * kDay), u"-enddate"_s, toolTime(qint64{last} * kDay)};
    };
    switch (validity) {
    case Validity::Expired:
        return between(-30, -1);
    case Validity::NotYet:
        return between(1, 30);
    case Validity::Current:
        break;
    }
    return between(-1, 30);
}

/// Makes a key and a request for `name` in a folder of their own, whose relative path is returned.
QString requested(const QString& name, const QString& subjectAltName)
{
    QString relative = nextName();
    const QString path = folder().makeDirectory(relative);
    folder().write(relative + u"/openssl.cnf"_s, configuration(name, path, subjectAltName));
    folder().write(relative + u"/index"_s, {});
    runOpenssl(
        {u"req"_s, u"-new"_s, u"-newkey"_s, u"ec"_s, u"-pkeyopt"_s, u"ec_paramgen_curve:P-256"_s, u"-nodes"_s,
         u"-config"_s, path + u"/openssl.cnf"_s, u"-keyout"_s, path + u"/key.pem"_s, u"-out"_s,
         path + u"/request.pem"_s});
    return relative;
}

/// Lets the authority in the folder `issuer` sign the request in the folder `subject`.
void sign(const QString& issuer, const QString& subject, const QString& extensions, Validity validity)
{
    const QString authority = folder().path(issuer);
    const QString own = folder().path(subject);
    QStringList arguments{
        u"ca"_s,
        u"-batch"_s,
        u"-notext"_s,
        u"-config"_s,
        authority + u"/openssl.cnf"_s,
        u"-keyfile"_s,
        authority + u"/key.pem"_s,
        u"-extfile"_s,
        own + u"/openssl.cnf"_s,
        u"-extensions"_s,
        extensions,
        u"-in"_s,
        own + u"/request.pem"_s,
        u"-out"_s,
        own + u"/certificate.pem"_s};
    arguments += period(validity);
    if (issuer == subject)
        arguments += u"-selfsign"_s;
    else
        arguments += {u"-cert"_s, authority + u"/certificate.pem"_s};
    runOpenssl(arguments);
}

} // namespace

TestAuthority::TestAuthority(const QString& name)
{
    static QMap<QString, std::shared_ptr<const Files>> known;
    auto& files = known[name];
    if (files == nullptr) {
        const QString relative = requested(name, u"DNS:localhost"_s);
        sign(relative, relative, u"authority_extensions"_s, Validity::Current);
        files = std::make_shared<Files>(Files{relative, {}, folder().path(relative + u"/certificate.pem"_s)});
    }
    m_files = files;
}

TestAuthority::TestAuthority(std::shared_ptr<const Files> files)
    : m_files(std::move(files))
{
}

QString TestAuthority::pemPath() const
{
    return m_files->certificatePath;
}

QSslCertificate TestAuthority::certificate() const
{
    return QSslCertificate::fromPath(pemPath()).constFirst();
}

ServerIdentity TestAuthority::issue(const CertificateWish& wish) const
{
    static QMap<QString, ServerIdentity> known;
    const QString names = wish.names.join(u',');
    auto& identity = known[m_files->folder + u' ' + QString::number(static_cast<int>(wish.validity)) + u' ' + names];
    if (identity.chain.isEmpty()) {
        const QString relative = requested(u"server"_s, names);
        sign(m_files->folder, relative, u"server_extensions"_s, wish.validity);
        const QByteArray pem = folder().read(relative + u"/certificate.pem"_s) + m_files->chainOfIssued;
        identity.certificatePath = folder().write(relative + u"/chain.pem"_s, pem);
        identity.keyPath = folder().path(relative + u"/key.pem"_s);
        identity.chain = QSslCertificate::fromData(pem, QSsl::Pem);
        identity.key = QSslKey(folder().read(relative + u"/key.pem"_s), QSsl::Ec, QSsl::Pem);
        if (identity.chain.isEmpty() || identity.key.isNull())
            qFatal("the certificate of a test server cannot be read");
    }
    return identity;
}

TestAuthority TestAuthority::intermediate(const QString& name) const
{
    static QMap<QString, std::shared_ptr<const Files>> known;
    auto& files = known[m_files->folder + u' ' + name];
    if (files == nullptr) {
        const QString relative = requested(name, u"DNS:localhost"_s);
        sign(m_files->folder, relative, u"authority_extensions"_s, Validity::Current);
        const QByteArray own = folder().read(relative + u"/certificate.pem"_s);
        files = std::make_shared<Files>(
            Files{relative, own + m_files->chainOfIssued, folder().path(relative + u"/certificate.pem"_s)});
    }
    return TestAuthority(files);
}

} // namespace vok::test_support
