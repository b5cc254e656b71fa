#include "client/client_arguments.h"
#include "support/failure_of.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace vok::launcher_client;
using namespace vok::test_support;

class TestClientArguments : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tellsEveryOptionInItsPlace();
    void tellsEachChoice_data();
    void tellsEachChoice();
    void leavesOutWhatIsNotSet();
    void tellsTheServiceWithoutTrailingSlash_data();
    void tellsTheServiceWithoutTrailingSlash();
    void placesTheWorldOnTheHostOfTheService_data();
    void placesTheWorldOnTheHostOfTheService();
    void takesAudioBelowTheAssets_data();
    void takesAudioBelowTheAssets();
    void refusesAudioThatCouldLeaveTheAssets_data();
    void refusesAudioThatCouldLeaveTheAssets();
};

namespace
{

ClientSetup plainSetup()
{
    ClientSetup setup;
    setup.auth = QUrl(u"https://example.test:7443"_s);
    setup.caFile = u"/ca.pem"_s;
    setup.assetRoot = u"/oyun/assets"_s;
    setup.settingsFile = u"/oyun/settings/graphics.json"_s;
    return setup;
}

QString valueOf(const QStringList& arguments, const QString& name)
{
    const qsizetype place = arguments.indexOf(name);
    return place < 0 ? QString() : arguments.value(place + 1);
}

} // namespace

void TestClientArguments::tellsEveryOptionInItsPlace()
{
    ClientSetup setup = plainSetup();
    setup.auth = QUrl(u"https://example.test:7443/"_s);
    setup.caFile = u"/yetki/ca şifre.pem"_s;
    setup.graphics.renderer = u"vulkan"_s;
    setup.graphics.appearance = u"enhanced"_s;
    setup.graphics.rayTracing = u"required"_s;
    setup.graphics.rtStyle = u"physical"_s;
    setup.graphics.renderScale = 0.85;
    setup.graphics.fsr = u"ultra_performance"_s;
    setup.graphics.fsrSharpness = 0.5;
    setup.graphics.frameGeneration = true;
    setup.modelMap = u"/harita/model map.json"_s;
    setup.soundMap = u"/harita/ses.json"_s;
    setup.audioPath = u"ses/müzik"_s;
    const QStringList expected{
        u"--ca"_s,
        u"/yetki/ca şifre.pem"_s,
        u"--session-stdin"_s,
        u"--auth"_s,
        setup.auth.toString(QUrl::StripTrailingSlash),
        u"--asset-root"_s,
        u"/oyun/assets"_s,
        u"--settings"_s,
        u"/oyun/settings/graphics.json"_s,
        u"--renderer"_s,
        u"vulkan"_s,
        u"--appearance"_s,
        u"enhanced"_s,
        u"--rt"_s,
        u"required"_s,
        u"--rt-style"_s,
        u"physical"_s,
        u"--render-scale"_s,
        u"0.84999999999999998"_s,
        u"--upscaler"_s,
        u"fsr3"_s,
        u"--fsr-sharpness"_s,
        u"0.5"_s,
        u"--frame-generation"_s,
        u"on"_s,
        u"--fsr-mode"_s,
        u"ultra_performance"_s,
        u"--model-map"_s,
        u"/harita/model map.json"_s,
        u"--sound-map"_s,
        u"/harita/ses.json"_s,
        u"--audio"_s,
        u"/oyun/assets/ses/müzik"_s,
    };
    QCOMPARE(clientArguments(setup), expected);
}

void TestClientArguments::leavesOutWhatIsNotSet()
{
    const QStringList expected{
        u"--ca"_s,
        u"/ca.pem"_s,
        u"--session-stdin"_s,
        u"--auth"_s,
        u"https://example.test:7443"_s,
        u"--asset-root"_s,
        u"/oyun/assets"_s,
        u"--settings"_s,
        u"/oyun/settings/graphics.json"_s,
        u"--renderer"_s,
        u"opengl"_s,
        u"--appearance"_s,
        u"original"_s,
        u"--rt"_s,
        u"off"_s,
        u"--rt-style"_s,
        u"faithful"_s,
        u"--render-scale"_s,
        u"1"_s,
        u"--upscaler"_s,
        u"bilinear"_s,
        u"--fsr-sharpness"_s,
        u"0.5"_s,
        u"--frame-generation"_s,
        u"off"_s,
    };
    QCOMPARE(clientArguments(plainSetup()), expected);
}

void TestClientArguments::tellsEachChoice_data()
{
    QTest::addColumn<GraphicsOptions>("graphics");
    QTest::addColumn<QString>("argument");
    QTest::addColumn<QString>("value");
    const auto row = [](const char* name, auto&& choose, const QString& argument, const QString& value) {
        GraphicsOptions graphics;
        choose(graphics);
        QTest::newRow(name) << graphics << argument << value;
    };
    for (const QString& renderer : rendererNames())
        row(
            "renderer", [&](auto& graphics) { graphics.renderer = renderer; }, u"--renderer"_s, renderer);
    for (const QString& appearance : appearanceNames())
        row(
            "appearance", [&](auto& graphics) { graphics.appearance = appearance; }, u"--appearance"_s, appearance);
    for (const QString& mode : rayTracingNames())
        row(
            "ray tracing", [&](auto& graphics) { graphics.rayTracing = mode; }, u"--rt"_s, mode);
    for (const QString& style : rtStyleNames())
        row(
            "ray tracing light", [&](auto& graphics) { graphics.rtStyle = style; }, u"--rt-style"_s, style);
    for (const FsrPreset& preset : fsrPresets()) {
        const bool isOff = preset.name == "off"_L1;
        const auto choose = [&](auto& graphics) { graphics.fsr = preset.name; };
        row("upscaler", choose, u"--upscaler"_s, isOff ? u"bilinear"_s : u"fsr3"_s);
        row("preset", choose, u"--fsr-mode"_s, isOff ? QString() : preset.name);
    }
    const std::pair<double, const char16_t*> numbers[] = {
        {0.0, u"0"}, {0.05, u"0.050000000000000003"}, {0.25, u"0.25"}, {0.55, u"0.55000000000000004"}, {1.0, u"1"},
    };
    for (const auto& [number, text] : numbers) {
        const QString value = QString::fromUtf16(text);
        row(
            "scale", [&](auto& graphics) { graphics.renderScale = number; }, u"--render-scale"_s, value);
        row(
            "sharpness", [&](auto& graphics) { graphics.fsrSharpness = number; }, u"--fsr-sharpness"_s, value);
    }
    row(
        "frames", [](auto& graphics) { graphics.frameGeneration = true; }, u"--frame-generation"_s, u"on"_s);
}

void TestClientArguments::tellsEachChoice()
{
    QFETCH(GraphicsOptions, graphics);
    QFETCH(QString, argument);
    QFETCH(QString, value);
    ClientSetup setup = plainSetup();
    setup.graphics = graphics;
    const QStringList arguments = clientArguments(setup);
    QCOMPARE(valueOf(arguments, argument), value);
    QCOMPARE(arguments.contains(argument), !value.isEmpty());
}

void TestClientArguments::tellsTheServiceWithoutTrailingSlash_data()
{
    QTest::addColumn<QString>("auth");
    QTest::addColumn<QString>("told");
    QTest::newRow("bare") << u"https://example.test:7443"_s << u"https://example.test:7443"_s;
    QTest::newRow("path with a slash") << u"https://example.test/a/"_s << u"https://example.test/a"_s;
    QTest::newRow("no port") << u"https://example.test"_s << u"https://example.test"_s;
    QTest::newRow("IPv6") << u"https://[::1]:7443"_s << u"https://[::1]:7443"_s;
}

void TestClientArguments::tellsTheServiceWithoutTrailingSlash()
{
    QFETCH(QString, auth);
    ClientSetup setup = plainSetup();
    setup.auth = QUrl(auth);
    QTEST(valueOf(clientArguments(setup), u"--auth"_s), "told");
}

void TestClientArguments::placesTheWorldOnTheHostOfTheService_data()
{
    QTest::addColumn<QString>("auth");
    QTest::addColumn<int>("port");
    QTest::addColumn<QStringList>("arguments");
    const auto row = [](const char* name, const QString& auth, int port, const QString& host, const QString& text) {
        QTest::newRow(name) << auth << port << QStringList{u"--host"_s, host, u"--port"_s, text};
    };
    row("name", u"https://Example.test:7443"_s, 7000, u"example.test"_s, u"7000"_s);
    row("lowest port", u"https://example.test"_s, 1, u"example.test"_s, u"1"_s);
    row("highest port", u"https://example.test"_s, 65535, u"example.test"_s, u"65535"_s);
    row("IPv4", u"https://127.0.0.1:7443/"_s, 7000, u"127.0.0.1"_s, u"7000"_s);
    row("IPv6", u"https://[::1]:7443"_s, 7000, u"::1"_s, u"7000"_s);
    row("encoded", u"https://ex%61mple.test"_s, 7000, u"example.test"_s, u"7000"_s);
}

void TestClientArguments::placesTheWorldOnTheHostOfTheService()
{
    QFETCH(QString, auth);
    QFETCH(int, port);
    QTEST(worldArguments(QUrl(auth), port), "arguments");
}

void TestClientArguments::takesAudioBelowTheAssets_data()
{
    QTest::addColumn<QString>("audio");
    QTest::newRow("one folder") << u"ses"_s;
    QTest::newRow("two folders") << u"ses/müzik"_s;
    QTest::newRow("dots in a name") << u"..ses/müzik.../a..b"_s;
    QTest::newRow("three dots") << u"..."_s;
    QTest::newRow("this folder") << u"."_s;
    QTest::newRow("trailing slash") << u"ses/"_s;
    QTest::newRow("outside the basic plane") << u"ses/\U0001F3B5"_s;
}

void TestClientArguments::takesAudioBelowTheAssets()
{
    QFETCH(QString, audio);
    ClientSetup setup = plainSetup();
    setup.audioPath = audio;
    QCOMPARE(valueOf(clientArguments(setup), u"--audio"_s), u"/oyun/assets/"_s + audio);
}

void TestClientArguments::refusesAudioThatCouldLeaveTheAssets_data()
{
    QTest::addColumn<QString>("audio");
    QTest::newRow("root") << u"/"_s;
    QTest::newRow("absolute") << u"/oyun/assets/ses"_s;
    QTest::newRow("two slashes") << u"//sunucu/ses"_s;
    QTest::newRow("parent") << u".."_s;
    QTest::newRow("parent first") << u"../ses"_s;
    QTest::newRow("parent between two folders") << u"ses/../müzik"_s;
    QTest::newRow("parent behind an empty component") << u"ses//.."_s;
    QTest::newRow("parent last") << u"ses/.."_s;
    QTest::newRow("parent with a slash") << u"ses/../"_s;
    QTest::newRow("half a surrogate pair") << u"ses"_s + QChar(0xd83c);
}

void TestClientArguments::refusesAudioThatCouldLeaveTheAssets()
{
    QFETCH(QString, audio);
    ClientSetup setup = plainSetup();
    setup.audioPath = audio;
    QCOMPARE(failureOf([&] { clientArguments(setup); }), u"Original audio path must stay inside imported assets"_s);
}

QTEST_APPLESS_MAIN(TestClientArguments)
#include "test_client_arguments.moc"
