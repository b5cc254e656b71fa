#include "support/launcher_window.h"
#include "support/layout_outline.h"

#include <QScrollArea>
#include <QTabWidget>

using namespace Qt::Literals::StringLiterals;
using namespace vok;
using namespace vok::test_support;

/// What stands where in the window and its dialog, and under which caption.
class TestLauncherLayout : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void arrangesTheWindow_data();
    void arrangesTheWindow();
    void arrangesTheDialog_data();
    void arrangesTheDialog();
    void arrangesTheServerDialog();
    void spacesPages_data();
    void spacesPages();
    void showsRowsFromTopToBottom_data();
    void showsRowsFromTopToBottom();
};

namespace
{

const QString kHeader =
    u"row(\"<span style='font-size:20pt;font-weight:bold'>Tarvun: Selvira</span><br>Bağımsız Linux başlatıcısı\"*1, "
    "settingsButton \"⚙ Ayarlar\", hostButton \"Sunucu Kur\")"_s;

const QString kInstallPage =
    u"column(\"<h3>Oyun Dosyalarını Hazırla</h3>Tarvun: Selvira dünyasına girmek için kurulum paketini veya mevcut "
    "oyun klasörünü seçin.\", "
    "extractButton \"Kurulum dosyasını seç (tarvunkur6_0.exe)\", "
    "importButton \"Mevcut kurulum klasörünü seç\", "
    "hostAfterInstall \"Bu bilgisayarda yerel sunucu da kur (Sunucu Kur)\", "
    "\"Kurulum klasörü: /yok\", stretch)"_s;

const QString kLoginPage = u"column(skinTitle \"HESAP GİRİŞİ & KAYIT\", "
                           "form(\"Sunucu\": row(profiles*1, addServer \"Ekle\"), "
                           "\"Kullanıcı Adı\": username, "
                           "\"Parola\": password), "
                           "row(loginButton \"GİRİŞ YAP\", registerButton \"KAYIT OL\"), "
                           "resetButton \"Parola sıfırla (yönetici kodu ile)\", stretch)"_s;

const QString kPlayPage = u"column(skinTitle \"AKTİF OTURUM\", account \"\", "
                          "playButton \"TARVUN'E GİR\", "
                          "row(stretch, logoutButton \"Oturumu Kapat\"), stretch)"_s;

const QString kGraphicsTab = u"form(\"Görüntü motoru\": renderer, "
                             "\"Çizim ölçeği (Vulkan)\": renderScale, "
                             "\"Ölçekleme (Vulkan)\": upscaler, "
                             "\"FSR keskinlik\": fsrSharpness, "
                             "\"Kare üretimi (FSR 3.1.4)\": frameGeneration, "
                             "\"Görünüm\": appearance, "
                             "\"Işın izleme (donanıma bağlı)\": rayTracing, "
                             "\"Işın izleme ışığı\": rtStyle, "
                             "\"Doku detay\": textureDetail, "
                             "\"Gölge detay\": lightmapDetail, "
                             "\"Çözünürlük\": row(width, \"×\", height, stretch), "
                             "\"Tam ekran\": fullscreen, "
                             "\"Ses düzeyi\": volume)"_s;

const QString kAdvancedTab = u"column(\"Kurulum\" form(\"Kurulum klasörü\": installRoot, "
                             "\"Özgün dosya kaynağı\": assetSource, "
                             "\"innoextract.exe\": extractor, "
                             "row(verifyButton \"Dosyaları doğrula\", repairButton \"Onar\")), "
                             "\"Özgün içerik eşlemeleri (isteğe bağlı)\" "
                             "form(\"Model eşlemesi (id:N → JSON)\": modelMap, "
                             "\"Ses klasörü (göreli)\": audioPath, "
                             "\"Ses olayı eşlemesi (JSON)\": soundMap), "
                             "\"Tanılama\" column(diagnosticLogs, "
                             "row(stretch, saveDiagnostics \"Tanılama kaydet\")))"_s;

const QWidget& tabOf(const LauncherWindow& window, int index)
{
    const QWidget* tab = window.find<QTabWidget>("settingsTabs").widget(index);
    const auto* area = qobject_cast<const QScrollArea*>(tab);
    return area == nullptr ? *tab : *area->widget();
}

} // namespace

void TestLauncherLayout::arrangesTheWindow_data()
{
    QTest::addColumn<QString>("outline");
    QTest::newRow("vokLauncher") << u"column("_s + kHeader
                                        + u", pages*1, status \"Tarvun: Selvira başlatıcısı hazır.\", progress)"_s;
    QTest::newRow("installPage") << kInstallPage;
    QTest::newRow("loginPage") << kLoginPage;
    QTest::newRow("playPage") << kPlayPage;
}

void TestLauncherLayout::arrangesTheWindow()
{
    const LauncherWindow window(u"/yok"_s);
    const QByteArray name = QTest::currentDataTag();
    const QWidget* widget = &window.launcher;
    if (name != "vokLauncher")
        widget = &window.find<QWidget>(name.constData());
    QTEST(outlineOf(*widget->layout()), "outline");
}

void TestLauncherLayout::arrangesTheDialog_data()
{
    QTest::addColumn<int>("tab");
    QTest::addColumn<QString>("outline");
    QTest::newRow("dialog")
        << -1 << u"column(settingsTabs, row(stretch, saveGraphics \"Kaydet\", closeSettings \"Kapat\"))"_s;
    QTest::newRow("graphics") << 0 << kGraphicsTab;
    QTest::newRow("advanced") << 1 << kAdvancedTab;
}

void TestLauncherLayout::arrangesTheDialog()
{
    QFETCH(int, tab);
    const LauncherWindow window;
    const QWidget& widget = tab < 0 ? window.find<QWidget>("settingsDialog") : tabOf(window, tab);
    QTEST(outlineOf(*widget.layout()), "outline");
}

void TestLauncherLayout::arrangesTheServerDialog()
{
    const LauncherWindow window;
    QCOMPARE(
        outlineOf(*window.find<QDialog>("serverDialog").layout()),
        u"column(form(\"Ad\": serverName, "
        "\"Adres\": serverAddress, "
        "\"CA sertifikası\": row(serverCa*1, serverCaBrowse \"Seç…\")), "
        "row(stretch, cancelServer \"İptal\", saveServer \"Kaydet\"))"_s);
}

void TestLauncherLayout::spacesPages_data()
{
    QTest::addColumn<int>("margin");
    QTest::addColumn<int>("spacing");
    QTest::newRow("loginPage") << 6 << 8;
    QTest::newRow("playPage") << 8 << 10;
}

void TestLauncherLayout::spacesPages()
{
    QFETCH(int, margin);
    const LauncherWindow window;
    const QLayout& layout = *window.find<QWidget>(QTest::currentDataTag()).layout();
    QCOMPARE(layout.contentsMargins(), QMargins(margin, margin, margin, margin));
    QTEST(layout.spacing(), "spacing");
}

void TestLauncherLayout::showsRowsFromTopToBottom_data()
{
    QTest::addColumn<int>("tab");
    QTest::addColumn<QStringList>("names");
    QTest::newRow("graphics") << 0
                              << QStringList(
                                     {u"renderer"_s, u"renderScale"_s, u"upscaler"_s, u"fsrSharpness"_s,
                                      u"frameGeneration"_s, u"appearance"_s, u"rayTracing"_s, u"rtStyle"_s,
                                      u"textureDetail"_s, u"lightmapDetail"_s, u"width"_s, u"fullscreen"_s, u"volume"_s,
                                      u"saveGraphics"_s});
    QTest::newRow("advanced") << 1
                              << QStringList(
                                     {u"installRoot"_s, u"assetSource"_s, u"extractor"_s, u"verifyButton"_s,
                                      u"modelMap"_s, u"audioPath"_s, u"soundMap"_s, u"diagnosticLogs"_s,
                                      u"saveDiagnostics"_s});
}

void TestLauncherLayout::showsRowsFromTopToBottom()
{
    QFETCH(int, tab);
    QFETCH(QStringList, names);
    const LauncherWindow window;
    window.press("settingsButton");
    window.find<QTabWidget>("settingsTabs").setCurrentIndex(tab);
    QVERIFY(QTest::qWaitForWindowExposed(&window.find<QDialog>("settingsDialog")));
    const auto heightOf = [&](const QString& name) {
        auto& widget = window.find<QWidget>(name.toLatin1().constData());
        return widget.mapTo(widget.window(), QPoint()).y();
    };
    for (qsizetype row = 1; row < names.size(); ++row)
        QVERIFY2(heightOf(names.at(row - 1)) < heightOf(names.at(row)), qPrintable(names.at(row)));
}

VOK_WINDOW_TEST_MAIN(TestLauncherLayout)
#include "test_launcher_layout.moc"
