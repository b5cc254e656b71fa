#include "assets/report.h"
#include "support/failure_of.h"
#include "support/launcher_window.h"
#include "support/modal_player.h"
#include "support/sample_store.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QProgressBar>
#include <QSemaphore>
#include <QThread>

#include <dlfcn.h>
#include <pthread.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <memory>
#include <stdexcept>
#include <thread>

using namespace Qt::Literals::StringLiterals;
using namespace vok;
using namespace vok::test_support;
using vok::launcher_assets::Report;

namespace
{

std::atomic<bool> noThreadIsLeft = false;

} // namespace

/// Stands before the C library's for this whole process, and says what a system without a thread to give says.
extern "C" int pthread_create(
    pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*), void* argument) noexcept
{
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto next = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    return noThreadIsLeft ? EAGAIN : next(thread, attributes, routine, argument);
}

class TestLauncherAssetTasks : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void walksTheWholeRoad();
    void keepsThePlayerAwayWhileItWorks();
    void worksOnAThreadOfItsOwn();
    void keepsTheWindowAliveWhileItWorks();
    void logsTheFiguresAndEveryEntry();
    void reportsAnyFault_data();
    void reportsAnyFault();
    void reportsWhatTheWorkThrows_data();
    void reportsWhatTheWorkThrows();
    void reportsWhatTheNextStepThrows();
    void refusesASecondTask();
    void canStartAgainAfterAFailure();
    void endsWhereNoThreadCanBeStarted();
    void waitsForTheWorkWhenClosed();
    void forgetsItsThreads();
    void asksForTheSource_data();
    void asksForTheSource();
    void keepsTheChosenSource_data();
    void keepsTheChosenSource();
    void startsNothingWhenCancelled_data();
    void startsNothingWhenCancelled();
    void asksNothingWhileSettingsAreRefused_data();
    void asksNothingWhileSettingsAreRefused();
    void tellsOfAFailedImportInTheLog();
    void doesNotOverwriteAStore();
    void countsStrangersAsAFailureAfterRepair();
    void reportsAStoreThatAnotherLauncherWorksOn();
    void verifiesTheFolderAsTyped();
    void keepsTheWishForAServer();

private:
    void importGame(const LauncherWindow& window);

    std::unique_ptr<SampleStore> store;
};

namespace
{

const QString kVerified = u"Varlıklar doğrulandı / Assets verified"_s;
const QString kFailed = u"Varlık doğrulaması başarısız; tanılama ayrıntılarını inceleyin"_s;
const QString kBusy = u"Another installation/update or HTTPS request is active"_s;
constexpr int kLongMs = 30000;

/// Work that goes on until it is let go.
class HeldWork
{
public:
    std::function<Report()> work()
    {
        return [this] {
            m_started.release();
            m_gate.acquire();
            m_isDone = true;
            return Report();
        };
    }
    void waitUntilStarted() { m_started.acquire(); }
    void letGo() { m_gate.release(); }
    bool done() const { return m_isDone; }

private:
    QSemaphore m_started;
    QSemaphore m_gate;
    std::atomic<bool> m_isDone = false;
};

#define WAIT_UNTIL_IDLE(window)                                                                                 \
    do {                                                                                                        \
        QTRY_VERIFY_WITH_TIMEOUT(!(window).access.assetBusy() && (window).access.workers().isEmpty(), kLongMs); \
    } while (false)

} // namespace

void TestLauncherAssetTasks::init()
{
    clearSettings();
    store = std::make_unique<SampleStore>();
}

void TestLauncherAssetTasks::importGame(const LauncherWindow& window)
{
    ModalPlayer player({choose(store->source())});
    window.press("importButton");
    WAIT_UNTIL_IDLE(window);
    QCOMPARE(player.seen.size(), 1);
    QCOMPARE(window.status(), kVerified);
}

void TestLauncherAssetTasks::walksTheWholeRoad()
{
    const LauncherWindow window(store->root());
    QCOMPARE(window.page(), u"installPage"_s);
    importGame(window);
    QCOMPARE(window.page(), u"loginPage"_s);
    QCOMPARE(QSettings().value(u"assets/source"_s).toString(), store->source());

    window.press("settingsButton");
    window.press("verifyButton");
    WAIT_UNTIL_IDLE(window);
    QCOMPARE(window.status(), kVerified);

    const QMap<QString, QByteArray> intact = store->tree().contents(u"store/assets"_s);
    const QString& damaged = intact.firstKey();
    const QString& missing = intact.lastKey();
    store->tree().write(u"store/assets/"_s + damaged, QByteArray(intact.first().size(), '\x7f'));
    store->tree().remove(u"store/assets/"_s + missing);
    {
        ModalPlayer player({press(QMessageBox::Ok)});
        window.press("verifyButton");
        WAIT_UNTIL_IDLE(window);
        QCOMPARE(player.texts(), QStringList(kFailed));
    }
    QCOMPARE(window.status(), kFailed);
    QCOMPARE(window.logTexts().last(3), QStringList({missing, damaged, kFailed}));
    QCOMPARE(window.page(), u"loginPage"_s);

    ModalPlayer player({choose(store->source())});
    window.press("repairButton");
    WAIT_UNTIL_IDLE(window);
    QCOMPARE(player.seen.size(), 1);
    QCOMPARE(player.seen.constFirst().title, u"Select preserved source for hash-checked repair"_s);
    QCOMPARE(window.status(), kVerified);
    QCOMPARE(store->tree().contents(u"store/assets"_s), intact);

    window.press("verifyButton");
    WAIT_UNTIL_IDLE(window);
    QCOMPARE(window.status(), kVerified);
    QCOMPARE(player.unplanned, 0);
}

void TestLauncherAssetTasks::keepsThePlayerAwayWhileItWorks()
{
    const LauncherWindow window(store->root());
    window.access.applySkin(Qt::red);
    window.find<QStackedWidget>("pages").setCurrentIndex(1);
    HeldWork held;
    window.access.assetTask(held.work());
    const auto& progress = window.find<QProgressBar>("progress");
    QVERIFY(window.access.assetBusy());
    QVERIFY(!window.find<QStackedWidget>("pages").isEnabled());
    QVERIFY(!window.find<QDialog>("settingsDialog").isEnabled());
    QVERIFY(progress.isVisible());
    QCOMPARE(progress.minimum(), 0);
    QCOMPARE(progress.maximum(), 0);
    QCOMPARE(window.status(), u"Oyun dosyaları işleniyor…"_s);
    QVERIFY(!window.access.primaryPanel()->isEnabled());
    QVERIFY(!window.access.worldPanel()->isEnabled());
    held.letGo();
    WAIT_UNTIL_IDLE(window);
    QVERIFY(window.find<QStackedWidget>("pages").isEnabled());
    QVERIFY(window.find<QDialog>("settingsDialog").isEnabled());
    QCOMPARE(progress.maximum(), 1);
}

void TestLauncherAssetTasks::worksOnAThreadOfItsOwn()
{
    const LauncherWindow window(store->root());
    QThread* workThread = nullptr;
    QThread* afterThread = nullptr;
    int afterCount = 0;
    QString statusAtNextStep;
    window.access.assetTask(
        [&] {
            workThread = QThread::currentThread();
            return Report();
        },
        [&] {
            afterThread = QThread::currentThread();
            ++afterCount;
            statusAtNextStep = window.status();
        });
    WAIT_UNTIL_IDLE(window);
    QVERIFY(workThread != nullptr && workThread != QThread::currentThread());
    QCOMPARE(afterThread, QThread::currentThread());
    QCOMPARE(afterCount, 1);
    QCOMPARE(statusAtNextStep, u"Oyun dosyaları işleniyor…"_s);
    QCOMPARE(window.status(), kVerified);
    QVERIFY(!window.find<QProgressBar>("progress").isVisible());
}

namespace
{

class PaintCounter : public QObject
{
public:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        paints += event->type() == QEvent::Paint ? 1 : 0;
        return QObject::eventFilter(watched, event);
    }
    int paints = 0;
};

} // namespace

void TestLauncherAssetTasks::keepsTheWindowAliveWhileItWorks()
{
    LauncherWindow window(store->root());
    QVERIFY(QTest::qWaitForWindowExposed(&window.launcher));
    HeldWork held;
    window.access.assetTask(held.work());
    held.waitUntilStarted();
    PaintCounter counter;
    window.launcher.installEventFilter(&counter);
    window.launcher.update();
    QTRY_VERIFY(counter.paints > 0);

    auto& progress = window.find<QProgressBar>("progress");
    const QImage before = progress.grab().toImage();
    QTRY_VERIFY(progress.grab().toImage() != before);
    QVERIFY(!held.done());
    held.letGo();
    WAIT_UNTIL_IDLE(window);
}

void TestLauncherAssetTasks::logsTheFiguresAndEveryEntry()
{
    const LauncherWindow window(store->root());
    Report report;
    report.errors = {u"hata <b>1</b>"_s};
    report.missing = {u"m/1"_s, u"m/%1"_s};
    report.changed = {u"c/1"_s, u"c/2"_s, u"c/3"_s};
    report.extra = {u"e/ş"_s};
    report.files = 200000;
    report.bytes = 137438953472;
    ModalPlayer player({press(QMessageBox::Ok)});
    window.access.assetTask([report] { return report; });
    WAIT_UNTIL_IDLE(window);
    QCOMPARE(
        window.logTexts().sliced(1),
        QStringList(
            {u"Asset files=200000 bytes=137438953472 missing=2 changed=3 extra=1"_s, u"hata <b>1</b>"_s, u"m/1"_s,
             u"m/%1"_s, u"c/1"_s, u"c/2"_s, u"c/3"_s, u"e/ş"_s, kFailed}));
    QCOMPARE(player.texts(), QStringList(kFailed));
}

void TestLauncherAssetTasks::reportsAnyFault_data()
{
    QTest::addColumn<int>("list");
    QTest::newRow("error") << 0;
    QTest::newRow("missing") << 1;
    QTest::newRow("changed") << 2;
    QTest::newRow("extra") << 3;
}

void TestLauncherAssetTasks::reportsAnyFault()
{
    QFETCH(int, list);
    const LauncherWindow window(store->root());
    Report report;
    *std::array{&report.errors, &report.missing, &report.changed, &report.extra}.at(static_cast<std::size_t>(list)) = {
        u"a"_s};
    bool isNextStepRun = false;
    ModalPlayer player({press(QMessageBox::Ok)});
    window.access.assetTask([report] { return report; }, [&] { isNextStepRun = true; });
    WAIT_UNTIL_IDLE(window);
    QCOMPARE(player.texts(), QStringList(kFailed));
    QCOMPARE(window.status(), kFailed);
    QVERIFY(!isNextStepRun);
}

void TestLauncherAssetTasks::reportsWhatTheWorkThrows_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("a text") << u"Geçersiz bildirim"_s;
    QTest::newRow("no text is a failure too") << QString();
}

void TestLauncherAssetTasks::reportsWhatTheWorkThrows()
{
    QFETCH(QString, text);
    const LauncherWindow window(store->root());
    bool isNextStepRun = false;
    ModalPlayer player({press(QMessageBox::Ok)});
    window.access.assetTask(
        [text]() -> Report { throw std::runtime_error(text.toStdString()); }, [&] { isNextStepRun = true; });
    WAIT_UNTIL_IDLE(window);
    QCOMPARE(player.texts(), QStringList(text));
    QCOMPARE(window.status(), text);
    QCOMPARE(window.logTexts().sliced(1), QStringList(text));
    QVERIFY(!isNextStepRun);
}

void TestLauncherAssetTasks::reportsWhatTheNextStepThrows()
{
    const LauncherWindow window(store->root());
    ModalPlayer player({press(QMessageBox::Ok)});
    window.access.assetTask([] { return Report(); }, [] { throw std::runtime_error("Ayarlar yazılamadı"); });
    WAIT_UNTIL_IDLE(window);
    QCOMPARE(player.texts(), QStringList(u"Ayarlar yazılamadı"_s));
    QCOMPARE(window.status(), u"Ayarlar yazılamadı"_s);
    QVERIFY(window.find<QStackedWidget>("pages").isEnabled());
}

void TestLauncherAssetTasks::refusesASecondTask()
{
    const LauncherWindow window(store->root());
    HeldWork held;
    window.access.assetTask(held.work());
    held.waitUntilStarted();
    QCOMPARE(failureOf([&] { window.access.assetTask([] { return Report(); }); }), kBusy);
    QVERIFY(window.access.assetBusy());
    QCOMPARE(window.access.workers().size(), 1);

    // Disabled pages keep the mouse away. What reaches the handler by another way gets the busy message.
    ModalPlayer player({press(QMessageBox::Ok)});
    Q_EMIT window.find<QPushButton>("importButton").clicked();
    QCOMPARE(player.texts(), QStringList(kBusy));
    QCOMPARE(window.access.workers().size(), 1);
    held.letGo();
    WAIT_UNTIL_IDLE(window);
    QVERIFY(held.done());
}

void TestLauncherAssetTasks::canStartAgainAfterAFailure()
{
    const LauncherWindow window(store->root());
    ModalPlayer player({press(QMessageBox::Ok)});
    window.access.assetTask([]() -> Report { throw std::runtime_error("ilk"); });
    WAIT_UNTIL_IDLE(window);
    window.access.assetTask([] { return Report(); });
    WAIT_UNTIL_IDLE(window);
    QCOMPARE(window.status(), kVerified);
}

void TestLauncherAssetTasks::endsWhereNoThreadCanBeStarted()
{
    const QString cannotStart = u"Cannot start asset worker thread"_s;
    const LauncherWindow window(store->root());
    bool isWorkRun = false;
    const auto work = [&] {
        isWorkRun = true;
        return Report();
    };
    ModalPlayer player({press(QMessageBox::Ok)});
    noThreadIsLeft = true;
    const QString failure = failureOf([&] { window.access.assetTask(work); });
    const bool isBusyAfterwards = window.access.assetBusy();
    window.access.guarded([&] { window.access.assetTask(work); });
    noThreadIsLeft = false;
    QCOMPARE(failure, cannotStart);
    QVERIFY(!isBusyAfterwards);
    QCOMPARE(player.texts(), QStringList(cannotStart));
    QCOMPARE(window.status(), cannotStart);
    QVERIFY(!window.access.assetBusy());
    QVERIFY(window.find<QStackedWidget>("pages").isEnabled());
    QVERIFY(window.access.workers().isEmpty());
    QTRY_COMPARE(window.launcher.findChildren<QThread*>().size(), 0);
    QVERIFY(!isWorkRun);

    window.access.assetTask(work);
    WAIT_UNTIL_IDLE(window);
    QVERIFY(isWorkRun);
    QCOMPARE(window.status(), kVerified);
}

void TestLauncherAssetTasks::waitsForTheWorkWhenClosed()
{
    auto window = std::make_unique<LauncherWindow>(store->root());
    HeldWork held;
    bool isNextStepRun = false;
    window->access.assetTask(held.work(), [&] { isNextStepRun = true; });
    held.waitUntilStarted();
    window->launcher.close();
    std::thread later([&] {
        QThread::msleep(100);
        held.letGo();
    });
    QVERIFY(!held.done());
    window.reset();
    QVERIFY(held.done());
    later.join();
    QCoreApplication::processEvents();
    QVERIFY(!isNextStepRun);
}

void TestLauncherAssetTasks::forgetsItsThreads()
{
    const LauncherWindow window(store->root());
    for (int round = 0; round < 3; ++round) {
        window.access.assetTask([] { return Report(); });
        WAIT_UNTIL_IDLE(window);
    }
    QTRY_COMPARE(window.launcher.findChildren<QThread*>().size(), 0);
}

void TestLauncherAssetTasks::asksForTheSource_data()
{
    QTest::addColumn<QByteArray>("button");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QByteArray>("parent");
    QTest::newRow("import") << QByteArray("importButton") << u"Mevcut özgün oyun kurulum klasörü"_s
                            << QByteArray("vokLauncher");
    QTest::newRow("repair") << QByteArray("repairButton") << u"Select preserved source for hash-checked repair"_s
                            << QByteArray("settingsDialog");
}

void TestLauncherAssetTasks::asksForTheSource()
{
    QFETCH(QByteArray, parent);
    QFETCH(QByteArray, button);
    const LauncherWindow window(store->root());
    window.find<QLineEdit>("assetSource").setText(store->source());
    QFileDialog::FileMode mode = QFileDialog::AnyFile;
    bool showsDirectoriesOnly = false;
    ModalPlayer player({[&](QDialog& dialog) {
        const auto* chooser = qobject_cast<QFileDialog*>(&dialog);
        mode = chooser->fileMode();
        showsDirectoriesOnly = chooser->testOption(QFileDialog::ShowDirsOnly);
        dialog.reject();
    }});
    window.press(button.constData());
    QTEST(player.seen.constFirst().title, "title");
    QCOMPARE(player.seen.constFirst().text, store->source());
    QCOMPARE(player.seen.constFirst().parent->objectName(), QString::fromLatin1(parent));
    QCOMPARE(mode, QFileDialog::Directory);
    QVERIFY(showsDirectoriesOnly);
}

void TestLauncherAssetTasks::keepsTheChosenSource_data()
{
    QTest::addColumn<QByteArray>("button");
    QTest::newRow("import") << QByteArray("importButton");
    QTest::newRow("repair") << QByteArray("repairButton");
}

void TestLauncherAssetTasks::keepsTheChosenSource()
{
    QFETCH(QByteArray, button);
    if (button == "repairButton")
        store->import();
    const LauncherWindow window(store->root());
    window.find<QLineEdit>("assetSource").setText(u"/önceki"_s);
    ModalPlayer player({choose(store->source())});
    window.press(button.constData());
    QCOMPARE(window.find<QLineEdit>("assetSource").text(), store->source());
    QCOMPARE(QSettings().value(u"assets/source"_s).toString(), store->source());
    WAIT_UNTIL_IDLE(window);
    QCOMPARE(window.status(), kVerified);
    QCOMPARE(player.unplanned, 0);
}

void TestLauncherAssetTasks::startsNothingWhenCancelled_data()
{
    QTest::addColumn<QByteArray>("button");
    QTest::newRow("import") << QByteArray("importButton");
    QTest::newRow("repair") << QByteArray("repairButton");
}

void TestLauncherAssetTasks::startsNothingWhenCancelled()
{
    QFETCH(QByteArray, button);
    const LauncherWindow window(store->root());
    window.find<QLineEdit>("assetSource").setText(u"/önceki"_s);
    const QString before = window.status();
    ModalPlayer player({cancel()});
    window.press(button.constData());
    QCOMPARE(player.seen.size(), 1);
    QVERIFY(!window.access.assetBusy());
    QVERIFY(window.access.workers().isEmpty());
    QCOMPARE(window.status(), before);
    QCOMPARE(window.find<QLineEdit>("assetSource").text(), u"/önceki"_s);
    QCOMPARE(QSettings().value(u"assets/source"_s).toString(), u"/önceki"_s);
    QCOMPARE(QSettings().value(u"installation/root"_s).toString(), store->root());
    QVERIFY(!QFileInfo::exists(store->root()));
}

void TestLauncherAssetTasks::asksNothingWhileSettingsAreRefused_data()
{
    QTest::addColumn<QByteArray>("button");
    for (const char* button : {"importButton", "extractButton", "verifyButton", "repairButton"})
        QTest::newRow(button) << QByteArray(button);
}

void TestLauncherAssetTasks::asksNothingWhileSettingsAreRefused()
{
    QFETCH(QByteArray, button);
    const LauncherWindow window(store->root());
    window.find<QDoubleSpinBox>("renderScale").setValue(0.5);
    ModalPlayer player({press(QMessageBox::Ok)});
    window.press(button.constData());
    QCOMPARE(player.texts(), QStringList(u"OpenGL requires render_scale=1; select Vulkan for render scaling"_s));
    QVERIFY(!QSettings().contains(u"installation/root"_s));
}

void TestLauncherAssetTasks::tellsOfAFailedImportInTheLog()
{
    const LauncherWindow window(store->root());
    const QString empty = store->tree().makeDirectory(u"boş"_s);
    ModalPlayer player({choose(empty), press(QMessageBox::Ok)});
    window.press("importButton");
    WAIT_UNTIL_IDLE(window);
    QCOMPARE(player.texts().constLast(), kFailed);
    QCOMPARE(
        window.logTexts().sliced(1),
        QStringList(
            {u"Asset files=0 bytes=0 missing=0 changed=0 extra=0"_s,
             u"No nonempty valid original QOMB textures/lightmaps/objects corpus found in selected source"_s,
             kFailed}));
    QCOMPARE(window.page(), u"installPage"_s);
}

void TestLauncherAssetTasks::doesNotOverwriteAStore()
{
    const LauncherWindow window(store->root());
    importGame(window);
    const QMap<QString, QByteArray> before = store->tree().contents(u"store"_s);
    ModalPlayer player({choose(store->source()), press(QMessageBox::Ok)});
    window.press("importButton");
    WAIT_UNTIL_IDLE(window);
    QCOMPARE(player.texts().constLast(), kFailed);
    QCOMPARE(
        window.logTexts().last(2).constFirst(),
        u"Assets or manifest already exist; use verification and repair instead of overwriting"_s);
    QCOMPARE(store->tree().contents(u"store"_s), before);
}

void TestLauncherAssetTasks::countsStrangersAsAFailureAfterRepair()
{
    const LauncherWindow window(store->root());
    importGame(window);
    store->tree().write(u"store/assets/yabancı.txt"_s, "x");
    ModalPlayer player({choose(store->source()), press(QMessageBox::Ok)});
    window.press("repairButton");
    WAIT_UNTIL_IDLE(window);
    QCOMPARE(player.texts().constLast(), kFailed);
    QCOMPARE(window.logTexts().last(2), QStringList({u"yabancı.txt"_s, kFailed}));
}

void TestLauncherAssetTasks::reportsAStoreThatAnotherLauncherWorksOn()
{
    const LauncherWindow window(store->root());
    importGame(window);
    QFile lock(store->root() + u"/.asset-import.lock"_s);
    QVERIFY(lock.open(QIODevice::ReadWrite));
    QCOMPARE(flock(lock.handle(), LOCK_EX | LOCK_NB), 0);
    ModalPlayer player({press(QMessageBox::Ok)});
    window.press("verifyButton");
    WAIT_UNTIL_IDLE(window);
    QCOMPARE(player.texts(), QStringList(u"Another asset operation is running"_s));
}

void TestLauncherAssetTasks::verifiesTheFolderAsTyped()
{
    store->import();
    const LauncherWindow window;
    window.find<QLineEdit>("installRoot").setText(store->root());
    window.press("verifyButton");
    WAIT_UNTIL_IDLE(window);
    QCOMPARE(window.status(), kVerified);
    QCOMPARE(window.page(), u"loginPage"_s);
    QCOMPARE(QSettings().value(u"installation/root"_s).toString(), store->root());
}

void TestLauncherAssetTasks::keepsTheWishForAServer()
{
    const LauncherWindow window(store->root());
    window.find<QCheckBox>("hostAfterInstall").setChecked(true);
    importGame(window);
    QVERIFY(window.find<QCheckBox>("hostAfterInstall").isChecked());
}

VOK_WINDOW_TEST_MAIN(TestLauncherAssetTasks)
#include "test_launcher_asset_tasks.moc"
