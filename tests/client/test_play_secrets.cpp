#include "support/memory_search.h"
#include "support/play_stage.h"

#include <memory>

using namespace Qt::Literals::StringLiterals;
using namespace vok;
using namespace vok::test_support;

/// Where in this process's memory the session stands, freed memory included. That of the client is another's.
class TestPlaySecrets : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void keepsTheSessionOnceWhileTheClientRuns();
    void forgetsTheSessionOfAClientThatDoesNotStart();
    void forgetsTheSessionThatAClientDidNotRead();
    void forgetsTheSessionOfAClientKilledForItsOutput();
    void forgetsTheSessionWithTheWindow();

private:
    /// A stage whose player has `token` for a session, in no more than one place.
    std::unique_ptr<PlayStage> stageWith(const QStringList& script) const
    {
        auto stage = std::make_unique<PlayStage>(script, QByteArray());
        stage->window.access.sessionToken() = token.within({}, {});
        stage->window.access.refreshPages();
        return stage;
    }

    const HiddenSecret token;
};

void TestPlaySecrets::keepsTheSessionOnceWhileTheClientRuns()
{
    const auto stage = stageWith({u"read"_s, u"wait gate"_s});
    QCOMPARE(occurrencesInMemory(token), 1);
    stage->play();
    QTRY_VERIFY(stage->client.hasKept("session"));
    QCOMPARE(occurrencesInMemory(token), 2); // the session, and what the log hides
    stage->window.access.clearSession();
    QCOMPARE(occurrencesInMemory(token), 1);
    QTRY_VERIFY(stage->client.passGate());
    QTRY_VERIFY(stage->hasClientEnded());
    QCOMPARE(occurrencesInMemory(token), 0);
    QCOMPARE(stage->client.kept("session"), token.within({}, "\n"));
}

void TestPlaySecrets::forgetsTheSessionOfAClientThatDoesNotStart()
{
    const auto stage = stageWith({});
    const QString place = FakeClient::path(u"vok-client"_s);
    QFile::remove(place);
    QVERIFY(QFile(place).open(QIODevice::WriteOnly));
    QVERIFY(QFile::setPermissions(place, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    stage->player.answers.append(press(QMessageBox::Ok));
    stage->play();
    QTRY_COMPARE(stage->player.texts(), QStringList(u"execvp: Exec format error"_s));
    QCOMPARE(occurrencesInMemory(token), 1);
    stage->window.access.clearSession();
    QCOMPARE(occurrencesInMemory(token), 0);
}

void TestPlaySecrets::forgetsTheSessionThatAClientDidNotRead()
{
    const auto stage = stageWith({u"close-input"_s, u"wait gate"_s});
    stage->player.answers.append(press(QMessageBox::Ok));
    stage->play();
    QTRY_VERIFY(stage->client.passGate());
    QTRY_VERIFY(stage->hasClientEnded());
    stage->window.access.clearSession();
    QCOMPARE(occurrencesInMemory(token), 0);
}

void TestPlaySecrets::forgetsTheSessionOfAClientKilledForItsOutput()
{
    const auto stage = stageWith({u"read"_s, u"repeat 65537 78"_s, u"wait gate"_s});
    stage->player.answers.append(press(QMessageBox::Ok));
    stage->play();
    QTRY_VERIFY(stage->hasClientEnded());
    stage->window.access.clearSession();
    QCOMPARE(occurrencesInMemory(token), 0);
}

void TestPlaySecrets::forgetsTheSessionWithTheWindow()
{
    auto stage = stageWith({u"read"_s, u"wait gate"_s});
    stage->play();
    QTRY_VERIFY(stage->client.hasKept("session"));
    stage.reset();
    QCOMPARE(occurrencesInMemory(token), 0);
}

VOK_PLAY_TEST_MAIN(TestPlaySecrets)
#include "test_play_secrets.moc"
