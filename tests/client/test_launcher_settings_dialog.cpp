#include "support/failure_of.h"
#include "support/launcher_window.h"
#include "support/modal_player.h"
#include "support/temp_tree.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QScrollArea>
#include <QSpinBox>
#include <QStandardPaths>
#include <QTabWidget>

#include <stdexcept>

using namespace Qt::Literals::StringLiterals;
using namespace vok;
using namespace vok::test_support;

class TestLauncherSettingsDialog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void opensAsTheDesignHasIt();
    void offersTheItemsOfTheDesign_data();
    void offersTheItemsOfTheDesign();
    void boundsItsNumbers_data();
    void boundsItsNumbers();
    void explainsWhatIsNotObvious();
    void showsDefaultsForAnEmptyStore();
    void showsWhatWasSaved();
    void writesEveryKey();
    void writesToTheDiskAtOnce();
    void bringsBackWhatItSaved();
    void writesNothingOpenGlDoesNotHave();
    void removesFormerKeys();
    void leavesTheRendererAloneWhileNoneIsSelected();
    void refusesToBuildOnADamagedStore_data();
    void refusesToBuildOnADamagedStore();
    void clampsAWidthAndKeepsTheStoreUntilTheNextSave();
    void resetsALoneFrameGeneration();
    void resetsWhatOpenGlDoesNotHave();
    void enablesWhatTheUpscalerAllows();
    void keepsTheScaleBehindAnUpscaler();
    void savesRequiredRayTracingWithOpenGl();
    void keepsPageAndTextWhenClosed();
    void showsTheInstallPageAfterSavingAnotherFolder();
    void saysThatItSaved();
    void survivesAStoreThatCannotBeWritten();
};

namespace
{

QMap<QString, QVariant> everythingStored()
{
    const QSettings settings;
    QMap<QString, QVariant> all;
    for (const QString& key : settings.allKeys())
        all.insert(key, settings.value(key));
    return all;
}

QStringList itemsOf(const QComboBox& combo)
{
    QStringList items;
    for (int index = 0; index < combo.count(); ++index)
        items.append(
            combo.itemText(index)
            + (combo.itemData(index).isValid() ? u'|' + combo.itemData(index).toString() : QString()));
    return items;
}

void select(const LauncherWindow& window, const char* combo, const QString& text)
{
    window.find<QComboBox>(combo).setCurrentText(text);
}

void selectPreset(const LauncherWindow& window, const QString& preset)
{
    auto& upscaler = window.find<QComboBox>("upscaler");
    upscaler.setCurrentIndex(upscaler.findData(preset));
}

/// Which of the dependent controls can be changed: scale, upscaler, sharpness, frame generation.
QList<bool> enabledControls(const LauncherWindow& window)
{
    QList<bool> enabled;
    for (const char* name : {"renderScale", "upscaler", "fsrSharpness", "frameGeneration"})
        enabled.append(window.find<QWidget>(name).isEnabled());
    return enabled;
}

} // namespace

void TestLauncherSettingsDialog::opensAsTheDesignHasIt()
{
    const LauncherWindow window;
    const auto& dialog = window.find<QDialog>("settingsDialog");
    QCOMPARE(dialog.windowTitle(), u"Ayarlar"_s);
    QCOMPARE(dialog.size(), QSize(600, 540));
    const auto& tabs = window.find<QTabWidget>("settingsTabs");
    QCOMPARE(tabs.count(), 2);
    QCOMPARE(tabs.tabText(0), u"Grafik"_s);
    QCOMPARE(tabs.tabText(1), u"Gelişmiş"_s);
    const auto* area = qobject_cast<QScrollArea*>(tabs.widget(1));
    QVERIFY(area != nullptr && area->widgetResizable() && area->frameShape() == QFrame::NoFrame);
    QVERIFY(window.find<QPlainTextEdit>("diagnosticLogs").isReadOnly());
    QCOMPARE(window.find<QPlainTextEdit>("diagnosticLogs").minimumHeight(), 160);
    QCOMPARE(window.find<QPlainTextEdit>("diagnosticLogs").maximumBlockCount(), 5000);
    QCOMPARE(window.find<QLineEdit>("extractor").placeholderText(), u"otomatik bulunur"_s);
    QCOMPARE(window.find<QSpinBox>("volume").text(), u"80 %"_s);
    const QMap<QByteArray, QString> captions{
        {"verifyButton", u"Dosyaları doğrula"_s},
        {"repairButton", u"Onar"_s},
        {"saveDiagnostics", u"Tanılama kaydet"_s},
        {"saveGraphics", u"Kaydet"_s},
        {"closeSettings", u"Kapat"_s}};
    for (auto row = captions.cbegin(); row != captions.cend(); ++row)
        QCOMPARE(window.find<QPushButton>(row.key().constData()).text(), row.value());
}

void TestLauncherSettingsDialog::offersTheItemsOfTheDesign_data()
{
    QTest::addColumn<QStringList>("items");
    const QStringList levels{u"Düşük (_4.DAT)"_s, u"Orta (_2.DAT)"_s, u"Yüksek (_1.DAT)"_s};
    QTest::newRow("renderer") << QStringList({u"opengl"_s, u"vulkan"_s});
    QTest::newRow("upscaler") << QStringList(
        {u"Kapalı (çizim ölçeği)|off"_s, u"FSR 3.1.4 Doğal AA|native"_s, u"FSR 3.1.4 Kalite|quality"_s,
         u"FSR 3.1.4 Dengeli|balanced"_s, u"FSR 3.1.4 Performans|performance"_s,
         u"FSR 3.1.4 Ultra Performans|ultra_performance"_s});
    QTest::newRow("appearance") << QStringList({u"original"_s, u"enhanced"_s});
    QTest::newRow("rayTracing") << QStringList({u"off"_s, u"auto"_s, u"required"_s});
    QTest::newRow("rtStyle") << QStringList({u"faithful"_s, u"physical"_s});
    QTest::newRow("textureDetail") << levels;
    QTest::newRow("lightmapDetail") << levels;
}

void TestLauncherSettingsDialog::offersTheItemsOfTheDesign()
{
    const LauncherWindow window;
    QTEST(itemsOf(window.find<QComboBox>(QTest::currentDataTag())), "items");
}

void TestLauncherSettingsDialog::boundsItsNumbers_data()
{
    QTest::addColumn<double>("least");
    QTest::addColumn<double>("most");
    QTest::addColumn<double>("step");
    QTest::newRow("renderScale") << 0.25 << 1.0 << 0.05;
    QTest::newRow("fsrSharpness") << 0.0 << 1.0 << 0.05;
    QTest::newRow("width") << 640.0 << 3840.0 << 1.0;
    QTest::newRow("height") << 480.0 << 2160.0 << 1.0;
    QTest::newRow("volume") << 0.0 << 100.0 << 1.0;
}

void TestLauncherSettingsDialog::boundsItsNumbers()
{
    const LauncherWindow window;
    const QObject& box = window.find<QAbstractSpinBox>(QTest::currentDataTag());
    QTEST(box.property("minimum").toDouble(), "least");
    QTEST(box.property("maximum").toDouble(), "most");
    QTEST(box.property("singleStep").toDouble(), "step");
    if (box.property("decimals").isValid())
        QCOMPARE(box.property("decimals").toInt(), 2);
}

void TestLauncherSettingsDialog::explainsWhatIsNotObvious()
{
    const LauncherWindow window;
    QCOMPARE(
        window.find<QWidget>("renderScale").toolTip(),
        u"Vulkan scene resolution scale; window and HUD remain full resolution. OpenGL is fixed at 1."_s);
    QCOMPARE(
        window.find<QWidget>("upscaler").toolTip(),
        u"AMD FidelityFX Super Resolution 3.1.4 temporal upscaling (Vulkan); replaces the render scale."_s);
    QCOMPARE(
        window.find<QWidget>("frameGeneration").toolTip(),
        u"AMD FSR 3.1.4 frame generation (Vulkan, requires an FSR mode): one generated frame between rendered frames, "
        "paced by VOK. Adds about half a frame of latency."_s);
}

void TestLauncherSettingsDialog::showsDefaultsForAnEmptyStore()
{
    const LauncherWindow window;
    QCOMPARE(window.find<QComboBox>("renderer").currentText(), u"opengl"_s);
    QCOMPARE(window.find<QDoubleSpinBox>("renderScale").value(), 1.0);
    QCOMPARE(window.find<QComboBox>("upscaler").currentData().toString(), u"off"_s);
    QCOMPARE(window.find<QDoubleSpinBox>("fsrSharpness").value(), 0.5);
    QVERIFY(!window.find<QCheckBox>("frameGeneration").isChecked());
    QCOMPARE(window.find<QComboBox>("textureDetail").currentIndex(), 2);
    QCOMPARE(window.find<QComboBox>("lightmapDetail").currentIndex(), 1);
    QCOMPARE(window.find<QSpinBox>("width").value(), 1280);
    QCOMPARE(window.find<QSpinBox>("height").value(), 720);
    QVERIFY(!window.find<QCheckBox>("fullscreen").isChecked());
    QCOMPARE(
        window.find<QLineEdit>("installRoot").text(),
        QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation));
    for (const char* name : {"assetSource", "extractor", "modelMap", "audioPath", "soundMap"})
        QCOMPARE(window.find<QLineEdit>(name).text(), QString());
}

void TestLauncherSettingsDialog::showsWhatWasSaved()
{
    QSettings settings;
    const QMap<QString, QString> lines{
        {u"installation/root"_s, u"installRoot"_s}, {u"assets/source"_s, u"assetSource"_s},
        {u"assets/extractor"_s, u"extractor"_s},    {u"graphics/modelMap"_s, u"modelMap"_s},
        {u"graphics/audioPath"_s, u"audioPath"_s},  {u"graphics/soundMap"_s, u"soundMap"_s}};
    for (auto row = lines.cbegin(); row != lines.cend(); ++row)
        settings.setValue(row.key(), u"/İğne/"_s + row.value());
    const LauncherWindow window;
    for (const QString& name : lines)
        QCOMPARE(window.find<QLineEdit>(name.toLatin1().constData()).text(), u"/İğne/"_s + name);
}

void TestLauncherSettingsDialog::writesEveryKey()
{
    const LauncherWindow window;
    const QMap<QString, QVariant> before = everythingStored();
    window.access.persistSettings();
    QMap<QString, QVariant> expected = before;
    expected.insert(
        {{u"installation/root"_s, QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation)},
         {u"assets/source"_s, QString()},
         {u"assets/extractor"_s, QString()},
         {u"graphics/renderer"_s, u"opengl"_s},
         {u"graphics/render_scale"_s, 1.0},
         {u"graphics/fsr"_s, u"off"_s},
         {u"graphics/fsr_sharpness"_s, 0.5},
         {u"graphics/frame_generation"_s, false},
         {u"graphics/appearance"_s, u"original"_s},
         {u"graphics/rt"_s, u"off"_s},
         {u"graphics/rt_style"_s, u"faithful"_s},
         {u"graphics/texture_detail"_s, 2},
         {u"graphics/lightmap_detail"_s, 1},
         {u"graphics/width"_s, 1280},
         {u"graphics/height"_s, 720},
         {u"graphics/fullscreen"_s, false},
         {u"graphics/volume"_s, 80},
         {u"graphics/modelMap"_s, QString()},
         {u"graphics/audioPath"_s, QString()},
         {u"graphics/soundMap"_s, QString()}});
    QCOMPARE(everythingStored(), expected);
}

// Asked of the file: another QSettings of this process would see what is not yet written, and even write it.
void TestLauncherSettingsDialog::writesToTheDiskAtOnce()
{
    const LauncherWindow window;
    window.find<QLineEdit>("soundMap").setText(u"sounds.json"_s);
    QFile file(window.access.settings().fileName());
    window.access.persistSettings();
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArrayList lines = file.readAll().split('\n');
    QVERIFY(lines.contains("soundMap=sounds.json"));
    QVERIFY(lines.contains("renderer=opengl"));
}

void TestLauncherSettingsDialog::bringsBackWhatItSaved()
{
    {
        const LauncherWindow window;
        select(window, "renderer", u"vulkan"_s);
        window.find<QDoubleSpinBox>("renderScale").setValue(0.55);
        selectPreset(window, u"balanced"_s);
        window.find<QDoubleSpinBox>("fsrSharpness").setValue(0.15);
        window.find<QCheckBox>("frameGeneration").setChecked(true);
        select(window, "appearance", u"enhanced"_s);
        select(window, "rayTracing", u"auto"_s);
        select(window, "rtStyle", u"physical"_s);
        window.find<QComboBox>("textureDetail").setCurrentIndex(0);
        window.find<QComboBox>("lightmapDetail").setCurrentIndex(2);
        window.find<QSpinBox>("width").setValue(1920);
        window.find<QSpinBox>("height").setValue(1080);
        window.find<QCheckBox>("fullscreen").setChecked(true);
        window.find<QSpinBox>("volume").setValue(0);
        window.find<QLineEdit>("audioPath").setText(u"sesler/İç"_s);
        window.press("saveGraphics");
    }
    const LauncherWindow window;
    QCOMPARE(window.find<QComboBox>("renderer").currentText(), u"vulkan"_s);
    QCOMPARE(window.find<QDoubleSpinBox>("renderScale").value(), 0.55);
    QCOMPARE(window.find<QComboBox>("upscaler").currentData().toString(), u"balanced"_s);
    QCOMPARE(window.find<QDoubleSpinBox>("fsrSharpness").value(), 0.15);
    QVERIFY(window.find<QCheckBox>("frameGeneration").isChecked());
    QCOMPARE(window.find<QComboBox>("appearance").currentText(), u"enhanced"_s);
    QCOMPARE(window.find<QComboBox>("rayTracing").currentText(), u"auto"_s);
    QCOMPARE(window.find<QComboBox>("rtStyle").currentText(), u"physical"_s);
    QCOMPARE(window.find<QComboBox>("textureDetail").currentIndex(), 0);
    QCOMPARE(window.find<QComboBox>("lightmapDetail").currentIndex(), 2);
    QCOMPARE(window.find<QSpinBox>("width").value(), 1920);
    QCOMPARE(window.find<QSpinBox>("height").value(), 1080);
    QVERIFY(window.find<QCheckBox>("fullscreen").isChecked());
    QCOMPARE(window.find<QSpinBox>("volume").value(), 0);
    QCOMPARE(window.find<QLineEdit>("audioPath").text(), u"sesler/İç"_s);
}

void TestLauncherSettingsDialog::writesNothingOpenGlDoesNotHave()
{
    const LauncherWindow window;
    window.press("settingsButton");
    window.find<QLineEdit>("installRoot").setText(u"/başka"_s);
    window.find<QDoubleSpinBox>("renderScale").setValue(0.5);
    const QMap<QString, QVariant> before = everythingStored();
    ModalPlayer player({press(QMessageBox::Ok)});
    window.press("saveGraphics");
    QCOMPARE(player.texts(), QStringList(u"OpenGL requires render_scale=1; select Vulkan for render scaling"_s));
    QCOMPARE(everythingStored(), before);
    QVERIFY(window.find<QDialog>("settingsDialog").isVisible());
}

void TestLauncherSettingsDialog::removesFormerKeys()
{
    for (const char* key : {"graphics/zone", "graphics/sceneMember", "graphics/characterModel"})
        QSettings().setValue(QLatin1StringView(key), 1);
    const LauncherWindow window;
    window.access.persistSettings();
    for (const char* key : {"graphics/zone", "graphics/sceneMember", "graphics/characterModel"})
        QVERIFY2(!QSettings().contains(QLatin1StringView(key)), key);
}

void TestLauncherSettingsDialog::leavesTheRendererAloneWhileNoneIsSelected()
{
    QSettings().setValue(u"graphics/renderer"_s, u"vulkan"_s);
    QSettings().setValue(u"graphics/render_scale"_s, 0.5);
    const LauncherWindow window;
    window.find<QComboBox>("renderer").setCurrentIndex(-1);
    window.find<QSpinBox>("volume").setValue(12);
    window.access.persistSettings();
    QCOMPARE(QSettings().value(u"graphics/renderer"_s).toString(), u"vulkan"_s);
    QCOMPARE(QSettings().value(u"graphics/render_scale"_s).toDouble(), 0.5);
    QCOMPARE(QSettings().value(u"graphics/volume"_s).toInt(), 12);
}

void TestLauncherSettingsDialog::refusesToBuildOnADamagedStore_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("message");
    QTest::newRow("graphics/render_scale")
        << QVariant(0.2) << u"Invalid saved render_scale: finite [.25,1] required; OpenGL requires 1"_s;
    QTest::newRow("graphics/fsr") << QVariant(
        u"quality"_s) << u"Invalid saved FSR settings: preset name and sharpness [0,1] required; OpenGL requires off"_s;
    QTest::newRow("graphics/rt_style") << QVariant(u"none"_s)
                                       << u"Invalid saved rt_style: faithful or physical required"_s;
    QTest::newRow("graphics/texture_detail")
        << QVariant(3) << u"Invalid saved graphics/texture_detail: 0..2 required"_s;
    QTest::newRow("graphics/lightmap_detail")
        << QVariant(-1) << u"Invalid saved graphics/lightmap_detail: 0..2 required"_s;
}

void TestLauncherSettingsDialog::refusesToBuildOnADamagedStore()
{
    QFETCH(QVariant, value);
    QSettings().setValue(QLatin1StringView(QTest::currentDataTag()), value);
    const QMap<QString, QVariant> before = everythingStored();
    QTEST(failureOf([] { const Launcher launcher; }), "message");
    QCOMPARE(everythingStored(), before);
}

void TestLauncherSettingsDialog::clampsAWidthAndKeepsTheStoreUntilTheNextSave()
{
    QSettings().setValue(u"graphics/width"_s, 5000);
    const LauncherWindow window;
    QCOMPARE(window.find<QSpinBox>("width").value(), 3840);
    QCOMPARE(QSettings().value(u"graphics/width"_s).toInt(), 5000);
    window.press("saveGraphics");
    QCOMPARE(QSettings().value(u"graphics/width"_s).toInt(), 3840);
}

void TestLauncherSettingsDialog::resetsALoneFrameGeneration()
{
    QSettings().setValue(u"graphics/renderer"_s, u"vulkan"_s);
    QSettings().setValue(u"graphics/frame_generation"_s, true);
    const LauncherWindow window;
    QVERIFY(!window.find<QCheckBox>("frameGeneration").isChecked());
    QCOMPARE(QSettings().value(u"graphics/frame_generation"_s).toBool(), true);
    window.press("saveGraphics");
    QCOMPARE(QSettings().value(u"graphics/frame_generation"_s).toBool(), false);
}

void TestLauncherSettingsDialog::resetsWhatOpenGlDoesNotHave()
{
    const LauncherWindow window;
    select(window, "renderer", u"vulkan"_s);
    window.find<QDoubleSpinBox>("renderScale").setValue(0.5);
    selectPreset(window, u"performance"_s);
    window.find<QCheckBox>("frameGeneration").setChecked(true);
    select(window, "renderer", u"opengl"_s);
    QCOMPARE(window.find<QDoubleSpinBox>("renderScale").value(), 1.0);
    QCOMPARE(window.find<QComboBox>("upscaler").currentIndex(), 0);
    QVERIFY(!window.find<QCheckBox>("frameGeneration").isChecked());
    QCOMPARE(enabledControls(window), QList<bool>({false, false, false, false}));
    ModalPlayer player;
    window.press("saveGraphics");
    QCOMPARE(player.seen.size(), 0);
    QCOMPARE(window.status(), u"Ayarlar kaydedildi"_s);
}

void TestLauncherSettingsDialog::enablesWhatTheUpscalerAllows()
{
    const LauncherWindow window;
    QCOMPARE(enabledControls(window), QList<bool>({false, false, false, false}));
    select(window, "renderer", u"vulkan"_s);
    QCOMPARE(enabledControls(window), QList<bool>({true, true, false, false}));
    selectPreset(window, u"native"_s);
    QCOMPARE(enabledControls(window), QList<bool>({false, true, true, true}));
    window.find<QCheckBox>("frameGeneration").setChecked(true);
    selectPreset(window, u"off"_s);
    QCOMPARE(enabledControls(window), QList<bool>({true, true, false, false}));
    QVERIFY(!window.find<QCheckBox>("frameGeneration").isChecked());
}

void TestLauncherSettingsDialog::keepsTheScaleBehindAnUpscaler()
{
    const LauncherWindow window;
    select(window, "renderer", u"vulkan"_s);
    window.find<QDoubleSpinBox>("renderScale").setValue(0.5);
    selectPreset(window, u"quality"_s);
    QCOMPARE(window.find<QDoubleSpinBox>("renderScale").value(), 0.5);
    window.press("saveGraphics");
    QCOMPARE(QSettings().value(u"graphics/render_scale"_s).toDouble(), 0.5);
    QCOMPARE(QSettings().value(u"graphics/fsr"_s).toString(), u"quality"_s);
}

void TestLauncherSettingsDialog::savesRequiredRayTracingWithOpenGl()
{
    const LauncherWindow window;
    select(window, "rayTracing", u"required"_s);
    ModalPlayer player;
    window.press("saveGraphics");
    QCOMPARE(player.seen.size(), 0);
    QCOMPARE(QSettings().value(u"graphics/rt"_s).toString(), u"required"_s);
}

void TestLauncherSettingsDialog::keepsPageAndTextWhenClosed()
{
    const TempTree tree;
    tree.write(u"asset-manifest.json"_s, {});
    const LauncherWindow window(tree.path());
    for (const bool byEscape : {false, true}) {
        window.press("settingsButton");
        window.find<QLineEdit>("installRoot").setText(u"/yok"_s);
        if (byEscape)
            QTest::keyClick(&window.find<QDialog>("settingsDialog"), Qt::Key_Escape);
        else
            window.press("closeSettings");
        QVERIFY(!window.find<QDialog>("settingsDialog").isVisible());
        QCOMPARE(window.page(), u"loginPage"_s);
        QCOMPARE(window.find<QLineEdit>("installRoot").text(), u"/yok"_s);
        QVERIFY(!QSettings().contains(u"installation/root"_s));
    }
}

void TestLauncherSettingsDialog::showsTheInstallPageAfterSavingAnotherFolder()
{
    const TempTree tree;
    tree.write(u"asset-manifest.json"_s, {});
    const LauncherWindow window(tree.path());
    QCOMPARE(window.page(), u"loginPage"_s);
    window.find<QLineEdit>("installRoot").setText(tree.path(u"boş"_s));
    window.press("saveGraphics");
    QCOMPARE(window.page(), u"installPage"_s);
    QCOMPARE(QSettings().value(u"installation/root"_s).toString(), tree.path(u"boş"_s));
    QCOMPARE(
        window.find<QWidget>("installPage").findChildren<QLabel*>().constLast()->text(),
        u"Kurulum klasörü: "_s + tree.path(u"boş"_s));
}

void TestLauncherSettingsDialog::saysThatItSaved()
{
    const LauncherWindow window;
    window.press("settingsButton");
    window.press("saveGraphics");
    QCOMPARE(window.status(), u"Ayarlar kaydedildi"_s);
    QVERIFY(!window.find<QDialog>("settingsDialog").isVisible());
}

// The folder's place is taken by a file, which stops an administrator as well.
void TestLauncherSettingsDialog::survivesAStoreThatCannotBeWritten()
{
    const QFileInfo store(QSettings().fileName());
    QVERIFY(QDir(store.path()).removeRecursively());
    QFile obstacle(store.path());
    QVERIFY(obstacle.open(QIODevice::WriteOnly));
    {
        const LauncherWindow window;
        ModalPlayer player;
        window.press("saveGraphics");
        QCOMPARE(player.seen.size(), 0);
        QCOMPARE(window.status(), u"Ayarlar kaydedildi"_s);
    }
    QVERIFY(obstacle.remove());
}

VOK_WINDOW_TEST_MAIN(TestLauncherSettingsDialog)
#include "test_launcher_settings_dialog.moc"
