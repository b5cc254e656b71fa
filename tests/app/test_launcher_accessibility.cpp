#include "support/launcher_window.h"

#include <QAbstractSpinBox>
#include <QCheckBox>
#include <QComboBox>
#include <QScrollArea>
#include <QTabWidget>

using namespace Qt::Literals::StringLiterals;
using namespace vok;
using namespace vok::test_support;

/// Whether the window can be used without a mouse, without sight, and with large letters.
class TestLauncherAccessibility : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void cleanup() { QApplication::setFont(usualFont); }
    void namesEveryInput();
    void tabsInReadingOrder_data();
    void tabsInReadingOrder();
    void savesOnReturnAndNeverRepairs();
    void clipsNothing_data();
    void clipsNothing();

private:
    const QFont usualFont = QApplication::font();
};

namespace
{

bool isPartOfAnotherInput(const QWidget& widget)
{
    const QWidget* parent = widget.parentWidget();
    return qobject_cast<const QAbstractSpinBox*>(parent) != nullptr || qobject_cast<const QComboBox*>(parent) != nullptr
           || widget.objectName().startsWith(u"qt_"_s);
}

QList<QWidget*> inputsOf(const Launcher& launcher)
{
    QList<QWidget*> inputs;
    for (QWidget* widget : launcher.findChildren<QWidget*>()) {
        const bool isInput = qobject_cast<QLineEdit*>(widget) != nullptr || qobject_cast<QComboBox*>(widget) != nullptr
                             || qobject_cast<QAbstractSpinBox*>(widget) != nullptr
                             || qobject_cast<QPlainTextEdit*>(widget) != nullptr
                             || qobject_cast<QCheckBox*>(widget) != nullptr;
        if (isInput && !isPartOfAnotherInput(*widget))
            inputs.append(widget);
    }
    return inputs;
}

QString spokenNameOf(const QWidget& widget)
{
    if (!widget.accessibleName().isEmpty())
        return widget.accessibleName();
    for (const QLabel* label : widget.window()->findChildren<QLabel*>())
        if (label->buddy() == &widget)
            return label->text();
    const auto* box = qobject_cast<const QCheckBox*>(&widget);
    return box != nullptr ? box->text() : QString();
}

/// The object names that the Tab key walks through below `window`, from `first` on until it comes round.
QStringList tabChain(QWidget& window, QWidget& first)
{
    QStringList names;
    first.setFocus();
    QWidget* widget = &first;
    do {
        names.append(widget->objectName());
        QTest::keyClick(widget, Qt::Key_Tab);
        widget = window.focusWidget();
    } while (widget != &first && names.size() < 100);
    return names;
}

/// What of `widget` its text does not fit into, or nothing.
QString clippingOf(const QWidget& widget)
{
    QSize needed = widget.minimumSizeHint();
    const auto* label = qobject_cast<const QLabel*>(&widget);
    if (label != nullptr && label->wordWrap())
        needed = QSize(0, label->heightForWidth(label->width()));
    if (widget.width() >= needed.width() && widget.height() >= needed.height())
        return {};
    return u"%1 is %2x%3 and needs %4x%5"_s.arg(widget.objectName())
        .arg(widget.width())
        .arg(widget.height())
        .arg(needed.width())
        .arg(needed.height());
}

QStringList clippedIn(const QWidget& window)
{
    QStringList clipped;
    for (const QWidget* widget : window.findChildren<QWidget*>()) {
        if (!widget->isVisibleTo(&window) || widget->window() != &window || isPartOfAnotherInput(*widget))
            continue;
        if (const QString clipping = clippingOf(*widget); !clipping.isEmpty())
            clipped.append(clipping);
        const QWidget* parent = widget->parentWidget();
        const bool isScrolled = qobject_cast<const QScrollArea*>(parent->parentWidget()) != nullptr;
        if (!isScrolled && !parent->rect().contains(widget->geometry()))
            clipped.append(widget->objectName() + u" stands out of its place"_s);
    }
    return clipped;
}

} // namespace

void TestLauncherAccessibility::namesEveryInput()
{
    const LauncherWindow window;
    const QList<QWidget*> inputs = inputsOf(window.launcher);
    QCOMPARE(inputs.size(), 28);
    for (const QWidget* input : inputs)
        QVERIFY2(!spokenNameOf(*input).isEmpty(), qPrintable(input->objectName()));
    QCOMPARE(spokenNameOf(window.find<QWidget>("profiles")), u"Sunucu"_s);
    QCOMPARE(spokenNameOf(window.find<QWidget>("renderScale")), u"Çizim ölçeği (Vulkan)"_s);
    QCOMPARE(spokenNameOf(window.find<QWidget>("serverCa")), u"CA sertifikası"_s);
}

void TestLauncherAccessibility::tabsInReadingOrder_data()
{
    QTest::addColumn<QByteArray>("first");
    QTest::addColumn<int>("page");
    QTest::addColumn<QStringList>("order");
    QTest::newRow("install page") << QByteArray("settingsButton") << 0
                                  << QStringList(
                                         {u"settingsButton"_s, u"hostButton"_s, u"extractButton"_s, u"importButton"_s,
                                          u"hostAfterInstall"_s});
    QTest::newRow("login page") << QByteArray("settingsButton") << 1
                                << QStringList(
                                       {u"settingsButton"_s, u"hostButton"_s, u"profiles"_s, u"addServer"_s,
                                        u"username"_s, u"password"_s, u"loginButton"_s, u"registerButton"_s,
                                        u"resetButton"_s});
    QTest::newRow("play page") << QByteArray("settingsButton") << 2
                               << QStringList(
                                      {u"settingsButton"_s, u"hostButton"_s, u"playButton"_s, u"logoutButton"_s});
    QTest::newRow("graphics") << QByteArray("renderer") << 0
                              << QStringList(
                                     {u"renderer"_s, u"renderScale"_s, u"upscaler"_s, u"appearance"_s, u"rayTracing"_s,
                                      u"rtStyle"_s, u"textureDetail"_s, u"lightmapDetail"_s, u"width"_s, u"height"_s,
                                      u"fullscreen"_s, u"volume"_s, u"saveGraphics"_s, u"closeSettings"_s,
                                      u"qt_tabwidget_tabbar"_s});
    QTest::newRow("advanced") << QByteArray("installRoot") << 1
                              << QStringList(
                                     {u"installRoot"_s, u"assetSource"_s, u"extractor"_s, u"verifyButton"_s,
                                      u"repairButton"_s, u"modelMap"_s, u"audioPath"_s, u"soundMap"_s,
                                      u"diagnosticLogs"_s, u"saveDiagnostics"_s, u"saveGraphics"_s, u"closeSettings"_s,
                                      u"qt_tabwidget_tabbar"_s});
    QTest::newRow("server") << QByteArray("serverName") << 0
                            << QStringList(
                                   {u"serverName"_s, u"serverAddress"_s, u"serverCa"_s, u"serverCaBrowse"_s,
                                    u"cancelServer"_s, u"saveServer"_s});
}

void TestLauncherAccessibility::tabsInReadingOrder()
{
    QFETCH(QByteArray, first);
    QFETCH(int, page);
    const LauncherWindow window;
    window.find<QComboBox>("renderer").setCurrentText(u"vulkan"_s);
    auto& start = window.find<QWidget>(first.constData());
    QWidget& top = *start.window();
    if (&top == &window.launcher)
        window.find<QStackedWidget>("pages").setCurrentIndex(page);
    else
        window.find<QTabWidget>("settingsTabs").setCurrentIndex(page);
    top.show();
    top.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&top));
    QTEST(tabChain(top, start), "order");
}

void TestLauncherAccessibility::savesOnReturnAndNeverRepairs()
{
    const LauncherWindow window;
    QVERIFY(window.find<QPushButton>("saveGraphics").isDefault());
    window.press("settingsButton");
    QVERIFY(QTest::qWaitForWindowActive(&window.find<QDialog>("settingsDialog")));
    window.find<QTabWidget>("settingsTabs").setCurrentIndex(1);
    auto& installRoot = window.find<QLineEdit>("installRoot");
    installRoot.setFocus();
    QTest::keyClick(&installRoot, Qt::Key_Return);
    QCOMPARE(window.status(), u"Ayarlar kaydedildi"_s);
    QVERIFY(!window.access.assetBusy());
}

void TestLauncherAccessibility::clipsNothing_data()
{
    QTest::addColumn<double>("scale");
    QTest::newRow("usual letters") << 1.0;
    QTest::newRow("letters half as large again") << 1.5;
}

void TestLauncherAccessibility::clipsNothing()
{
    QFETCH(double, scale);
    QFont font = usualFont;
    font.setPointSizeF(font.pointSizeF() * scale);
    QApplication::setFont(font);
    LauncherWindow window;
    QVERIFY(QTest::qWaitForWindowExposed(&window.launcher));
    auto& pages = window.find<QStackedWidget>("pages");
    for (int page = 0; page < pages.count(); ++page) {
        pages.setCurrentIndex(page);
        QCoreApplication::processEvents();
        QCOMPARE(clippedIn(window.launcher), QStringList());
    }
    auto& server = window.find<QDialog>("serverDialog");
    server.show();
    QVERIFY(QTest::qWaitForWindowExposed(&server));
    QCOMPARE(clippedIn(server), QStringList());
    auto& dialog = window.find<QDialog>("settingsDialog");
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    auto& tabs = window.find<QTabWidget>("settingsTabs");
    for (int tab = 0; tab < tabs.count(); ++tab) {
        tabs.setCurrentIndex(tab);
        QCoreApplication::processEvents();
        QCOMPARE(clippedIn(dialog), QStringList());
    }
    QVERIFY(dialog.height() <= 720);
}

VOK_WINDOW_TEST_MAIN(TestLauncherAccessibility)
#include "test_launcher_accessibility.moc"
