#include "support/launcher_window.h"
#include "support/modal_player.h"
#include "support/temp_tree.h"

#include <QCheckBox>
#include <QMouseEvent>
#include <QProgressBar>
#include <QWindow>

using namespace Qt::Literals::StringLiterals;
using namespace vok;
using namespace vok::test_support;

/// What the window does once it is skinned.
class TestLauncherSkinActions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void paintsTheSkinAtTheOrigin();
    void takesHoldOfTheSkinnedBackgroundWithTheLeftButtonOnly_data();
    void takesHoldOfTheSkinnedBackgroundWithTheLeftButtonOnly();
    void leavesAPressAloneBeforeThereIsAWindowToMove();
    void leavesSkinActionsAloneWithoutASkin();
    void setsSkinActionsForEachPage_data();
    void setsSkinActionsForEachPage();
    void setsSkinActionsWhenWorkStartsAndEnds();
    void keepsTheBarVisibleInTheSkin();
};

void TestLauncherSkinActions::paintsTheSkinAtTheOrigin()
{
    LauncherWindow window;
    const QColor plain = window.launcher.grab().toImage().pixelColor(1, 1);
    QVERIFY(plain != QColor(Qt::red));
    window.access.applySkin(Qt::red);
    const QImage skinned = window.launcher.grab().toImage();
    QCOMPARE(skinned.pixelColor(0, 0), QColor(Qt::red));
    QCOMPARE(skinned.pixelColor(979, 619), QColor(Qt::red));
}

void TestLauncherSkinActions::takesHoldOfTheSkinnedBackgroundWithTheLeftButtonOnly_data()
{
    QTest::addColumn<bool>("isSkinned");
    QTest::addColumn<Qt::MouseButton>("button");
    QTest::addColumn<bool>("isTaken");
    QTest::newRow("left, skinned") << true << Qt::LeftButton << true;
    QTest::newRow("right, skinned") << true << Qt::RightButton << false;
    QTest::newRow("middle, skinned") << true << Qt::MiddleButton << false;
    QTest::newRow("left, plain") << false << Qt::LeftButton << false;
}

// What moves the window is taken; what the base class gets, it leaves to others.
void TestLauncherSkinActions::takesHoldOfTheSkinnedBackgroundWithTheLeftButtonOnly()
{
    QFETCH(bool, isSkinned);
    QFETCH(Qt::MouseButton, button);
    LauncherWindow window;
    if (isSkinned)
        window.access.applySkin(Qt::red);
    QMouseEvent event(QEvent::MouseButtonPress, QPointF(2, 2), QPointF(2, 2), button, button, Qt::NoModifier);
    QApplication::sendEvent(&window.launcher, &event);
    QTEST(event.isAccepted(), "isTaken");
}

void TestLauncherSkinActions::leavesAPressAloneBeforeThereIsAWindowToMove()
{
    Launcher launcher;
    LauncherTestAccess{launcher}.applySkin(Qt::red);
    QCOMPARE(launcher.windowHandle(), nullptr);
    QMouseEvent event(
        QEvent::MouseButtonPress, QPointF(2, 2), QPointF(2, 2), Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&launcher, &event);
    QVERIFY(!event.isAccepted());
}

void TestLauncherSkinActions::leavesSkinActionsAloneWithoutASkin()
{
    const LauncherWindow window;
    window.find<QStackedWidget>("pages").setCurrentIndex(1);
    QVERIFY(!window.find<QPushButton>("playButton").isHidden());
}

void TestLauncherSkinActions::setsSkinActionsForEachPage_data()
{
    QTest::addColumn<int>("page");
    QTest::addColumn<bool>("loginShown");
    QTest::addColumn<bool>("playShown");
    QTest::addColumn<bool>("primaryEnabled");
    QTest::addColumn<bool>("worldEnabled");
    QTest::newRow("install") << 0 << false << false << false << false;
    QTest::newRow("login") << 1 << true << false << true << true;
    QTest::newRow("play") << 2 << false << true << true << false;
}

void TestLauncherSkinActions::setsSkinActionsForEachPage()
{
    QFETCH(int, page);
    const LauncherWindow window;
    window.access.applySkin(Qt::red);
    auto& pages = window.find<QStackedWidget>("pages");
    pages.setCurrentIndex((page + 1) % 3);
    pages.setCurrentIndex(page);
    QTEST(!window.access.loginAction()->isHidden(), "loginShown");
    QTEST(!window.find<QPushButton>("playButton").isHidden(), "playShown");
    QTEST(window.access.primaryPanel()->isEnabled(), "primaryEnabled");
    QTEST(window.access.worldPanel()->isEnabled(), "worldEnabled");
}

void TestLauncherSkinActions::setsSkinActionsWhenWorkStartsAndEnds()
{
    const TempTree tree;
    tree.write(u"root/asset-manifest.json"_s, {});
    const LauncherWindow window(tree.path(u"root"_s));
    QCOMPARE(window.page(), u"loginPage"_s);
    window.access.applySkin(Qt::red);
    QVERIFY(window.access.primaryPanel()->isEnabled() && window.access.worldPanel()->isEnabled());
    window.access.startAssetWork();
    QVERIFY(!window.access.primaryPanel()->isEnabled() && !window.access.worldPanel()->isEnabled());
    ModalPlayer player({press(QMessageBox::Ok)});
    window.access.reportFailure(u"Disk doldu"_s);
    QCOMPARE(window.page(), u"loginPage"_s);
    QVERIFY(window.access.primaryPanel()->isEnabled() && window.access.worldPanel()->isEnabled());
}

void TestLauncherSkinActions::keepsTheBarVisibleInTheSkin()
{
    const LauncherWindow window;
    window.access.applySkin(Qt::red);
    ModalPlayer player({press(QMessageBox::Ok)});
    window.access.reportFailure(u"Disk doldu"_s);
    QVERIFY(window.find<QProgressBar>("progress").isVisible());
}

VOK_WINDOW_TEST_MAIN(TestLauncherSkinActions)
#include "test_launcher_skin_actions.moc"
