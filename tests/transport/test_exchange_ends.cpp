#include "support/exchange.h"
#include "support/hostile_server.h"
#include "support/modal_player.h"
#include "support/temp_tree.h"

#include <QNetworkReply>
#include <QPointer>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;
using namespace vok;
using namespace vok::test_support;

class TestExchangeEnds : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void reportsOnce_data();
    void reportsOnce();
    void diesWithRequestsOnTheirWay_data();
    void diesWithRequestsOnTheirWay();
    void diesWithinItsOwnReport();
    void endsWhileAMessageIsShown();
    void sendsTheNextRequestFromTheReceiver();
    void reportsWhatTheReceiverThrows();
    void leavesNoReplyBehind();
};

namespace
{

TestAuthority authority()
{
    return TestAuthority(u"Test CA"_s);
}

QByteArray announced(int status, qsizetype size)
{
    return hostile::head(status, {"Location: http://a/", "Content-Length: " + QByteArray::number(size)});
}

/// All replies of `window`, gone or not.
QList<QNetworkReply*> repliesOf(const LauncherWindow& window)
{
    return window.access.network().findChildren<QNetworkReply*>();
}

void addAnswers()
{
    const QByteArray block(16384, 'x');
    QTest::addColumn<HostileAnswer>("answer");
    const auto row = [](const char* name, const HostileAnswer& answer) { QTest::newRow(name) << answer; };
    row("success", hostile::sent(announced(200, 2) + "{}"));
    row("refusal", hostile::sent(announced(403, 2) + "{}"));
    row("ended by its headers", hostile::sent(announced(200, 2097153)));
    row("ended by its headers, with a body on the way", hostile::endless(announced(200, 2097153), block));
    row("ended by a refused redirect", hostile::sent(announced(302, 0)));
    row("ended by a refused redirect, with a body on the way", hostile::endless(announced(302, 65536), block));
    row("ended by its body", hostile::endless(hostile::head(200), block));
    row("ended by its time", hostile::sent({}));
    row("ended by its time within its body", hostile::sent(announced(200, 3) + "{}"));
    row("closed", hostile::sentAndClosed(announced(200, 3) + "{}"));
    row("cut off", hostile::sentAndCut(announced(200, 3) + "{}"));
}

} // namespace

void TestExchangeEnds::init()
{
    clearSettings();
}

void TestExchangeEnds::reportsOnce_data()
{
    addAnswers();
}

// By all three ways that a player could be told twice: message box, log, receiver.
void TestExchangeEnds::reportsOnce()
{
    QFETCH(HostileAnswer, answer);
    const HostileServer server(authority().issue(), {answer});
    selectProfile(server.origin(), authority().pemPath());
    const LauncherWindow window;
    window.access.setRequestTimeoutMs(300);
    const ModalPlayer player;
    const qsizetype linesBefore = window.log().size();
    const auto outcome = startApi(window, u"/v1/status"_s);
    QTRY_COMPARE(outcome->successes + player.seen.size(), 1);
    QTest::qWait(350);
    QCOMPARE(outcome->successes + player.seen.size(), 1);
    QCOMPARE(window.log().size() - linesBefore, player.seen.size());
    QVERIFY(window.access.activeReplies().isEmpty());
    QTRY_VERIFY(repliesOf(window).isEmpty());
}

void TestExchangeEnds::diesWithRequestsOnTheirWay_data()
{
    addAnswers();
    QTest::addRow("dripping") << hostile::dripped(hostile::head(200), "x", 1ms);
}

// Whatever the moment is at which the window goes: nothing is told, and nothing touches what is gone.
void TestExchangeEnds::diesWithRequestsOnTheirWay()
{
    QFETCH(HostileAnswer, answer);
    const ModalPlayer player;
    for (const int waitMs : {0, 1, 10, 30, 60}) {
        const HostileServer server(authority().issue(), QList<HostileAnswer>(2, answer));
        const TempTree tree;
        const auto budget = budgetOf(server.url(), 10000000, 1min);
        std::shared_ptr<Outcome> outcome;
        int endsBefore = 0;
        {
            const LauncherWindow window;
            const FetchCall call{.url = server.url(), .caFile = authority().pemPath(), .budget = budget};
            FetchCall staged = call;
            staged.stagePath = tree.path(u"staged"_s);
            outcome = startFetch(window, call);
            const auto second = startFetch(window, staged);
            QTest::qWait(waitMs);
            endsBefore = outcome->ends() + second->ends();
        }
        QTest::qWait(20);
        QVERIFY(endsBefore <= 2);
        QVERIFY(tree.listing().isEmpty() || tree.listing() == QStringList(u"staged"_s));
    }
    QCOMPARE(player.seen.size(), 0);
}

void TestExchangeEnds::diesWithinItsOwnReport()
{
    const HostileServer server(authority().issue(), {});
    auto window = std::make_unique<LauncherWindow>();
    const QPointer<Launcher> launcher(&window->launcher);
    window->access.fetch(
        server.url(), authority().pemPath(), "GET", {}, false, 100, {},
        [&window](const QByteArray&) { QTimer::singleShot(0, qApp, [&window] { window.reset(); }); }, 0, nullptr);
    QTRY_VERIFY(launcher.isNull());
}

void TestExchangeEnds::endsWhileAMessageIsShown()
{
    HttpsServer server(authority().issue());
    server.setHandler([](const HttpRequest& request) -> HttpAnswer {
        return {request.target == "/v1/first" ? 403 : 200, request.target};
    });
    selectProfile(server.origin(), authority().pemPath());
    const LauncherWindow window;
    std::shared_ptr<Outcome> second;
    const ModalPlayer player({[&](QDialog& box) {
        // The first exchange is over and told, so that others may go on below its message.
        QVERIFY(window.access.activeReplies().isEmpty());
        second = startApi(window, u"/v1/second"_s);
        QTRY_COMPARE(second->successes, 1);
        box.reject();
    }});
    const auto first = startApi(window, u"/v1/first"_s);
    QTRY_VERIFY(player.seen.size() == 1 && second != nullptr && second->successes == 1);
    QTest::qWait(30);
    QCOMPARE(player.seen.size(), 1);
    QCOMPARE(first->successes, 0);
}

void TestExchangeEnds::sendsTheNextRequestFromTheReceiver()
{
    const HttpsServer server(authority().issue());
    const LauncherWindow window;
    std::shared_ptr<Outcome> second;
    const FetchCall call{.url = server.url(), .caFile = authority().pemPath()};
    window.access.fetch(
        call.url, call.caFile, "GET", {}, false, 100, {},
        [&](const QByteArray&) {
            QVERIFY(window.access.activeReplies().isEmpty());
            second = startFetch(window, call);
        },
        0, nullptr);
    QTRY_VERIFY(second != nullptr && second->successes == 1);
    QCOMPARE(server.requests().size(), 2);
}

void TestExchangeEnds::reportsWhatTheReceiverThrows()
{
    const HttpsServer server(authority().issue());
    const LauncherWindow window;
    const ModalPlayer player;
    QStringList failures;
    const auto budget = budgetOf(server.url(), 1000, 1min);
    budget->onError = [&failures](const QString& failure) { failures.append(failure); };
    const auto throwing = [](const QByteArray&) { throw std::runtime_error("Yanıt anlaşılmadı"); };
    window.access.fetch(server.url(), authority().pemPath(), "GET", {}, false, 100, {}, throwing, 0, budget);
    QTRY_COMPARE(failures, QStringList(u"Yanıt anlaşılmadı"_s));
    QVERIFY(window.access.activeReplies().isEmpty());
    window.access.fetch(server.url(), authority().pemPath(), "GET", {}, false, 100, {}, throwing, 0, nullptr);
    QTRY_COMPARE(player.texts(), QStringList(u"Yanıt anlaşılmadı"_s));
    QCOMPARE(failures.size(), 1);
}

void TestExchangeEnds::leavesNoReplyBehind()
{
    const HttpsServer server(authority().issue());
    const LauncherWindow window;
    for (int round = 0; round < 20; ++round) {
        const QString caFile = TestAuthority(round % 2 == 0 ? u"Test CA"_s : u"Other CA"_s).pemPath();
        const auto outcome = startFetch(window, {.url = server.url(), .caFile = caFile});
        QTRY_COMPARE(outcome->ends(), 1);
    }
    QTRY_COMPARE(repliesOf(window).size(), 0);
    QTRY_COMPARE(window.access.network().children().size(), 0);
}

VOK_WINDOW_TEST_MAIN(TestExchangeEnds)
#include "test_exchange_ends.moc"
