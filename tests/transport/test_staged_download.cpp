#include "support/exchange.h"
#include "support/file_size_limit.h"
#include "support/hostile_server.h"
#include "support/process_memory.h"
#include "support/temp_tree.h"

#include <QElapsedTimer>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;
using namespace vok;
using namespace vok::test_support;

class TestStagedDownload : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void writesTheBodyToTheFile_data();
    void writesTheBodyToTheFile();
    void replacesAFileOnlyBySuccess();
    void leavesNothingOfAFailure_data();
    void leavesNothingOfAFailure();
    void tellsAFullDiskWhileItWrites();
    void tellsAFullDiskAtTheEnd();
    void tellsAFileThatCannotBePutInItsPlace();
    void givesTimeForTheSize_data();
    void givesTimeForTheSize();
    void staysWithinTheOperationsTime();
    void keepsTheMemoryFlat();

private:
    FetchCall stagedCall(const TlsServer& server) const;

    std::unique_ptr<TempTree> m_tree;
};

namespace
{

const QString kResponseBound = u"HTTPS response exceeds configured bound"_s;
const QString kRequestDeadline = u"HTTPS request wall deadline exceeded"_s;
const QString kUnwritten = u"Cannot write staged download"_s;
const QString kUncommitted = u"Cannot commit staged HTTPS file"_s;

TestAuthority authority()
{
    return TestAuthority(u"Test CA"_s);
}

HostileAnswer answerWith(const QByteArray& body, int status = 200)
{
    return hostile::sent(hostile::head(status, {"Content-Length: " + QByteArray::number(body.size())}) + body);
}

} // namespace

void TestStagedDownload::init()
{
    clearSettings();
    m_tree = std::make_unique<TempTree>();
}

FetchCall TestStagedDownload::stagedCall(const TlsServer& server) const
{
    return {.url = server.url(), .caFile = authority().pemPath(), .stagePath = m_tree->path(u"staged"_s)};
}

void TestStagedDownload::writesTheBodyToTheFile_data()
{
    QTest::addColumn<qsizetype>("size");
    for (const qsizetype size : {0, 1, 65535, 65536, 65537, 1000000})
        QTest::addRow("%lld bytes", static_cast<long long>(size)) << size;
}

void TestStagedDownload::writesTheBodyToTheFile()
{
    QFETCH(qsizetype, size);
    QByteArray body(size, 'x');
    for (qsizetype index = 0; index < size; ++index)
        body[index] = static_cast<char>(index % 251);
    const HostileServer server(authority().issue(), {answerWith(body)});
    const LauncherWindow window;
    FetchCall call = stagedCall(server);
    call.limit = size;
    const auto outcome = startFetch(window, call);
    QTRY_COMPARE(outcome->ends(), 1);
    QCOMPARE(outcome->failures, QStringList());
    QCOMPARE(outcome->body, QByteArray());
    QVERIFY(m_tree->read(u"staged"_s) == body);
    QCOMPARE(m_tree->listing(), QStringList(u"staged"_s));
}

void TestStagedDownload::replacesAFileOnlyBySuccess()
{
    m_tree->write(u"staged"_s, "before");
    const HostileServer server(authority().issue(), {answerWith("no", 403), answerWith("after")});
    const LauncherWindow window;
    const auto refused = startFetch(window, stagedCall(server));
    QTRY_COMPARE(refused->ends(), 1);
    QVERIFY(refused->failures.value(0).startsWith(u"Sunucu isteği reddetti (403): "_s));
    QCOMPARE(m_tree->read(u"staged"_s), QByteArray("before"));
    const auto taken = startFetch(window, stagedCall(server));
    QTRY_COMPARE(taken->successes, 1);
    QCOMPARE(m_tree->read(u"staged"_s), QByteArray("after"));
    QCOMPARE(m_tree->listing(), QStringList(u"staged"_s));
}

void TestStagedDownload::leavesNothingOfAFailure_data()
{
    QTest::addColumn<HostileAnswer>("answer");
    QTest::addColumn<QString>("failure");
    const QByteArray half = hostile::head(200, {"Content-Length: 100000"}) + QByteArray(50000, 'x');
    QTest::newRow("refusal") << answerWith(R"({"error":{"message":"Hayır"}})", 403)
                             << u"Sunucu isteği reddetti (403): Error transferring %1/ - server replied: Whatever"_s;
    QTest::newRow("broken off") << hostile::sentAndClosed(half) << u"Sunucu isteği reddetti (200): Connection closed"_s;
    QTest::newRow("too large") << hostile::endless(hostile::head(200), QByteArray(10000, 'x')) << kResponseBound;
    QTest::newRow("redirect elsewhere") << hostile::sent(hostile::redirectTo("https://localhost/"))
                                        << u"HTTPS origin refused"_s;
    QTest::newRow("stopped") << hostile::sent(half) << kRequestDeadline;
}

void TestStagedDownload::leavesNothingOfAFailure()
{
    QFETCH(HostileAnswer, answer);
    QFETCH(QString, failure);
    const HostileServer server(authority().issue(), {answer});
    const LauncherWindow window;
    window.access.setRequestTimeoutMs(1500);
    FetchCall call = stagedCall(server);
    call.limit = 100000;
    const auto outcome = startFetch(window, call);
    QTRY_COMPARE(outcome->ends(), 1);
    QCOMPARE(outcome->failures, QStringList(failure.replace(u"%1"_s, server.origin())));
    QCOMPARE(m_tree->listing(), QStringList());
}

void TestStagedDownload::tellsAFullDiskWhileItWrites()
{
    const HostileServer server(authority().issue(), {answerWith(QByteArray(1000000, 'x'))});
    const LauncherWindow window;
    const auto outcome = startFetch(window, stagedCall(server));
    {
        const FileSizeLimit full(300000);
        QTRY_COMPARE(outcome->ends(), 1);
    }
    QCOMPARE(outcome->failures, QStringList(kUnwritten));
    QCOMPARE(m_tree->listing(), QStringList());
    const auto next = startFetch(window, stagedCall(server));
    QTRY_COMPARE(next->successes, 1);
}

// So little is left in a buffer until the end.
void TestStagedDownload::tellsAFullDiskAtTheEnd()
{
    const HostileServer server(authority().issue(), {answerWith("{}")});
    const LauncherWindow window;
    const auto outcome = startFetch(window, stagedCall(server));
    {
        const FileSizeLimit full(0);
        QTRY_COMPARE(outcome->ends(), 1);
    }
    QCOMPARE(outcome->failures, QStringList(kUncommitted));
    QCOMPARE(m_tree->listing(), QStringList());
}

void TestStagedDownload::tellsAFileThatCannotBePutInItsPlace()
{
    HttpsServer server(authority().issue());
    server.setHandler([this](const HttpRequest&) {
        m_tree->makeDirectory(u"staged/in the way"_s);
        return json(200, {});
    });
    const LauncherWindow window;
    const auto outcome = startFetch(window, stagedCall(server));
    QTRY_COMPARE(outcome->ends(), 1);
    QCOMPARE(outcome->failures, QStringList(kUncommitted));
    QCOMPARE(m_tree->listing(), QStringList({u"staged/"_s, u"staged/in the way/"_s}));
}

void TestStagedDownload::givesTimeForTheSize_data()
{
    QTest::addColumn<bool>("staged");
    QTest::addColumn<qint64>("limit");
    QTest::addColumn<int>("leastMs");
    QTest::addColumn<int>("mostMs");
    QTest::newRow("staged") << true << qint64{256000} << 2200 << 9000;
    QTest::newRow("staged, with a remainder") << true << qint64{256127} << 2200 << 9000;
    QTest::newRow("staged, less than a millisecond's worth") << true << qint64{127} << 200 << 2000;
    QTest::newRow("in memory") << false << qint64{256000} << 200 << 2000;
}

// The server never falls silent, so that nothing but the wall deadline ends it: 128 bytes a millisecond are waited for.
void TestStagedDownload::givesTimeForTheSize()
{
    QFETCH(bool, staged);
    QFETCH(qint64, limit);
    QFETCH(int, leastMs);
    QFETCH(int, mostMs);
    const HostileServer server(authority().issue(), {hostile::dripped(hostile::head(200), "x", 20ms)});
    const LauncherWindow window;
    window.access.setRequestTimeoutMs(200);
    FetchCall call = stagedCall(server);
    call.limit = limit;
    if (!staged)
        call.stagePath.clear();
    QElapsedTimer clock;
    clock.start();
    const auto outcome = startFetch(window, call);
    QTRY_COMPARE_WITH_TIMEOUT(outcome->ends(), 1, 10000);
    QCOMPARE(outcome->failures, QStringList(kRequestDeadline));
    QVERIFY2(clock.elapsed() >= leastMs, qPrintable(QString::number(clock.elapsed())));
    QVERIFY2(clock.elapsed() <= mostMs, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(m_tree->listing(), QStringList());
}

void TestStagedDownload::staysWithinTheOperationsTime()
{
    const HostileServer server(authority().issue(), {hostile::dripped(hostile::head(200), "x", 20ms)});
    const LauncherWindow window;
    window.access.setRequestTimeoutMs(200);
    FetchCall call = stagedCall(server);
    call.budget = budgetOf(server.url(), call.limit, 300ms);
    const auto outcome = startFetch(window, call);
    QTRY_COMPARE(outcome->ends(), 1);
    QCOMPARE(outcome->failures, QStringList(u"HTTPS operation wall deadline exceeded"_s));
}

void TestStagedDownload::keepsTheMemoryFlat()
{
    constexpr qint64 kSize = qint64{128} << 20;
    const QByteArray head = hostile::head(200, {"Content-Length: " + QByteArray::number(kSize)});
    const HostileServer server(authority().issue(), {hostile::endless(head, QByteArray(65536, 'x'))});
    const LauncherWindow window;
    FetchCall call = stagedCall(server);
    call.limit = kSize;
    const PeakGrowth memory;
    const auto outcome = startFetch(window, call);
    QTRY_COMPARE_WITH_TIMEOUT(outcome->ends(), 1, 60000);
    qInfo("%lld MiB staged with at most %lld KiB more", kSize >> 20, memory.bytes() / 1024);
    QCOMPARE(outcome->failures, QStringList());
    QCOMPARE(QFileInfo(call.stagePath).size(), kSize);
    QVERIFY(memory.bytes() < qint64{24} << 20);
}

VOK_WINDOW_TEST_MAIN(TestStagedDownload)
#include "test_staged_download.moc"
