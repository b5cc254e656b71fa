#include "support/certificates.h"
#include "support/failure_of.h"
#include "support/temp_tree.h"
#include "transport/tls_trust.h"

#include <QSslCertificate>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace vok;
using namespace vok::test_support;

class TestTlsTrust : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void verifiesPeersWhateverTheDefaultIs();
    void trustsTheCertificatesOfTheFileAlone();
    void trustsTheSystemWithoutAFile();
    void refusesWhatIsNoCaFile_data();
    void refusesWhatIsNoCaFile();
    void readsFilesOf4MiB();

private:
    const TempTree m_tree;
};

namespace
{

constexpr qsizetype kLargestBytes = 4194304;

const QString kUnreadable = u"Cannot read configured CA file"_s;
const QString kNoPem = u"Configured CA contains no PEM certificates"_s;

} // namespace

void TestTlsTrust::verifiesPeersWhateverTheDefaultIs()
{
    const QSslConfiguration before = QSslConfiguration::defaultConfiguration();
    QSslConfiguration lax = before;
    lax.setProtocol(QSsl::AnyProtocol);
    lax.setPeerVerifyMode(QSslSocket::VerifyNone);
    QSslConfiguration::setDefaultConfiguration(lax);
    const QList<QSslConfiguration> configurations{
        tlsConfiguration({}), tlsConfiguration(TestAuthority(u"Test CA"_s).pemPath())};
    QSslConfiguration::setDefaultConfiguration(before);
    for (const QSslConfiguration& tls : configurations) {
        QCOMPARE(tls.protocol(), QSsl::TlsV1_2OrLater);
        QCOMPARE(tls.peerVerifyMode(), QSslSocket::VerifyPeer);
    }
}

void TestTlsTrust::trustsTheCertificatesOfTheFileAlone()
{
    const QByteArray one = TestAuthority(u"Test CA"_s).certificate().toPem();
    const QByteArray other = TestAuthority(u"Other CA"_s).certificate().toPem();
    const QString file = m_tree.write(u"two.pem"_s, "text\n" + one + "text\n" + other + "text\n");
    QCOMPARE(tlsConfiguration(file).caCertificates(), QSslCertificate::fromData(one + other, QSsl::Pem));
    QCOMPARE(tlsConfiguration(file).caCertificates().size(), 2);
}

void TestTlsTrust::trustsTheSystemWithoutAFile()
{
    QCOMPARE(tlsConfiguration({}).caCertificates(), QSslConfiguration::defaultConfiguration().caCertificates());
}

void TestTlsTrust::refusesWhatIsNoCaFile_data()
{
    const TestAuthority authority(u"Test CA"_s);
    const QByteArray pem = authority.certificate().toPem();
    m_tree.makePipe(u"pipe"_s);
    m_tree.link(u"nowhere"_s, u"link"_s);
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("refusal");
    QTest::newRow("missing") << m_tree.path(u"missing"_s) << kUnreadable;
    QTest::newRow("blank") << u" "_s << kUnreadable;
    QTest::newRow("folder") << m_tree.path() << kUnreadable;
    QTest::newRow("pipe") << m_tree.path(u"pipe"_s) << kUnreadable;
    QTest::newRow("device") << u"/dev/zero"_s << kUnreadable;
    QTest::newRow("dangling link") << m_tree.path(u"link"_s) << kUnreadable;
    QTest::newRow("empty") << m_tree.write(u"empty"_s, {}) << kNoPem;
    QTest::newRow("text") << m_tree.write(u"text"_s, "no certificate") << kNoPem;
    QTest::newRow("key") << authority.issue().keyPath << kNoPem;
    QTest::newRow("DER") << m_tree.write(u"der"_s, authority.certificate().toDer()) << kNoPem;
    QTest::newRow("half a certificate") << m_tree.write(u"half"_s, pem.first(pem.size() / 2)) << kNoPem;
}

void TestTlsTrust::refusesWhatIsNoCaFile()
{
    QFETCH(QString, file);
    QTEST(failureOf<std::runtime_error>([&] { tlsConfiguration(file); }), "refusal");
}

void TestTlsTrust::readsFilesOf4MiB()
{
    const QByteArray pem = TestAuthority(u"Test CA"_s).certificate().toPem();
    const QString largest = m_tree.write(u"largest"_s, pem.rightJustified(kLargestBytes, '\n'));
    QCOMPARE(tlsConfiguration(largest).caCertificates().size(), 1);
    const QString larger = m_tree.write(u"larger"_s, pem.rightJustified(kLargestBytes + 1, '\n'));
    QCOMPARE(failureOf<std::runtime_error>([&] { tlsConfiguration(larger); }), kUnreadable);
}

QTEST_GUILESS_MAIN(TestTlsTrust)
#include "test_tls_trust.moc"
