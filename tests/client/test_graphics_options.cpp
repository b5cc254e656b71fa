#include "client/graphics_options.h"
#include "support/failure_of.h"
#include "support/temp_tree.h"

#include <QSettings>
#include <QTest>

#include <limits>
#include <memory>

using namespace Qt::Literals::StringLiterals;
using namespace vok::launcher_client;
using vok::test_support::failureOf;
using vok::test_support::TempTree;

class TestGraphicsOptions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void readsDefaultsFromAnEmptyStore();
    void readsWhatItWrites();
    void readsEverySavedName_data();
    void readsEverySavedName();
    void readsTextValuesOfTheFile();
    void doesNotWrapNumbersBeyond32Bits();
    void refusesInvalidSavedValues_data();
    void refusesInvalidSavedValues();
    void acceptsTheBoundsOfSavedValues_data();
    void acceptsTheBoundsOfSavedValues();
    void fallsBackToTheFirstNameWhereTheSavedOneIsUnknown_data();
    void fallsBackToTheFirstNameWhereTheSavedOneIsUnknown();
    void testsTheScaleAgainstTheRendererInEffect();
    void tellsTheFirstOfSeveralFaults();
    void leavesTheRendererAloneWhileNoneIsSelected();
    void refusesToSaveWhatOpenGlDoesNotHave_data();
    void refusesToSaveWhatOpenGlDoesNotHave();
    void refusesToStartOpenGlWithRequiredRayTracing_data();
    void refusesToStartOpenGlWithRequiredRayTracing();
    void settlesControls_data();
    void settlesControls();
    void namesSixPresets();

private:
    void write(const QByteArray& graphicsSection);

    std::unique_ptr<TempTree> tree;
    std::unique_ptr<QSettings> store;
};

namespace
{

const QString kInvalidScale = u"Invalid saved render_scale: finite [.25,1] required; OpenGL requires 1"_s;
const QString kInvalidFsr =
    u"Invalid saved FSR settings: preset name and sharpness [0,1] required; OpenGL requires off"_s;

GraphicsOptions chosen(const QString& renderer, double scale, const QString& fsr, bool frameGeneration = false)
{
    GraphicsOptions options;
    options.renderer = renderer;
    options.renderScale = scale;
    options.fsr = fsr;
    options.frameGeneration = frameGeneration;
    return options;
}

} // namespace

void TestGraphicsOptions::init()
{
    store.reset();
    tree = std::make_unique<TempTree>();
    write({});
}

// The store is written as a file, since that is how values come back after a restart: all of them as text.
void TestGraphicsOptions::write(const QByteArray& graphicsSection)
{
    store.reset();
    const QString path = tree->write(u"store.conf"_s, "[graphics]\n" + graphicsSection);
    store = std::make_unique<QSettings>(path, QSettings::IniFormat);
}

void TestGraphicsOptions::readsDefaultsFromAnEmptyStore()
{
    const GraphicsOptions options = savedGraphics(*store);
    QCOMPARE(options, GraphicsOptions());
    QCOMPARE(options.renderer, u"opengl"_s);
    QCOMPARE(options.renderScale, 1.0);
    QCOMPARE(options.fsr, u"off"_s);
    QCOMPARE(options.fsrSharpness, 0.5);
    QCOMPARE(options.frameGeneration, false);
    QCOMPARE(options.appearance, u"original"_s);
    QCOMPARE(options.rayTracing, u"off"_s);
    QCOMPARE(options.rtStyle, u"faithful"_s);
    QCOMPARE(options.textureDetail, 2);
    QCOMPARE(options.lightmapDetail, 1);
    QCOMPARE(options.width, 1280);
    QCOMPARE(options.height, 720);
    QCOMPARE(options.fullscreen, false);
    QCOMPARE(options.volumePercent, 80);
}

void TestGraphicsOptions::readsWhatItWrites()
{
    GraphicsOptions options = chosen(u"vulkan"_s, 0.55, u"ultra_performance"_s, true);
    options.fsrSharpness = 0.05;
    options.appearance = u"enhanced"_s;
    options.rayTracing = u"required"_s;
    options.rtStyle = u"physical"_s;
    options.textureDetail = 0;
    options.lightmapDetail = 2;
    options.width = 3840;
    options.height = 2160;
    options.fullscreen = true;
    options.volumePercent = 0;
    saveGraphics(*store, options);
    const QString path = store->fileName();
    store.reset();
    QCOMPARE(savedGraphics(QSettings(path, QSettings::IniFormat)), options);
}

void TestGraphicsOptions::readsEverySavedName_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("name");
    const QList<std::pair<QString, QStringList>> names{
        {u"renderer"_s, {u"opengl"_s, u"vulkan"_s}},
        {u"appearance"_s, {u"original"_s, u"enhanced"_s}},
        {u"rt"_s, {u"off"_s, u"auto"_s, u"required"_s}},
        {u"rt_style"_s, {u"faithful"_s, u"physical"_s}},
        {u"fsr"_s, {u"off"_s, u"native"_s, u"quality"_s, u"balanced"_s, u"performance"_s, u"ultra_performance"_s}},
    };
    for (const auto& [key, allowed] : names)
        for (const QString& name : allowed)
            QTest::addRow("%s %s", qPrintable(key), qPrintable(name)) << key << name;
}

void TestGraphicsOptions::readsEverySavedName()
{
    QFETCH(QString, key);
    QFETCH(QString, name);
    write("renderer=vulkan\n");
    store->setValue(u"graphics/"_s + key, name);
    const GraphicsOptions options = savedGraphics(*store);
    const QHash<QString, QString> read{
        {u"renderer"_s, options.renderer},
        {u"appearance"_s, options.appearance},
        {u"rt"_s, options.rayTracing},
        {u"rt_style"_s, options.rtStyle},
        {u"fsr"_s, options.fsr}};
    QCOMPARE(read.value(key), name);
}

void TestGraphicsOptions::readsTextValuesOfTheFile()
{
    write("renderer=vulkan\nrender_scale=0.5\nfsr_sharpness=1e-1\nframe_generation=false\nfullscreen=true\n"
          "texture_detail=0\nlightmap_detail=2\nwidth=5000\nheight=1\nvolume=7\n");
    const GraphicsOptions options = savedGraphics(*store);
    QCOMPARE(options.renderScale, 0.5);
    QCOMPARE(options.fsrSharpness, 0.1);
    QCOMPARE(options.frameGeneration, false);
    QCOMPARE(options.fullscreen, true);
    QCOMPARE(options.textureDetail, 0);
    QCOMPARE(options.lightmapDetail, 2);
    QCOMPARE(options.width, 5000);
    QCOMPARE(options.height, 1);
    QCOMPARE(options.volumePercent, 7);
}

void TestGraphicsOptions::doesNotWrapNumbersBeyond32Bits()
{
    write("width=4294968576\nheight=-4294966576\nvolume=99999999999999999999\n");
    const GraphicsOptions options = savedGraphics(*store);
    QCOMPARE(options.width, std::numeric_limits<int>::max());
    QCOMPARE(options.height, std::numeric_limits<int>::min());
    QCOMPARE(options.volumePercent, 0);
}

void TestGraphicsOptions::refusesInvalidSavedValues_data()
{
    QTest::addColumn<QByteArray>("section");
    QTest::addColumn<QString>("message");
    const QString style = u"Invalid saved rt_style: faithful or physical required"_s;
    const QString texture = u"Invalid saved graphics/texture_detail: 0..2 required"_s;
    const QString lightmap = u"Invalid saved graphics/lightmap_detail: 0..2 required"_s;
    QTest::newRow("scale below") << QByteArray("renderer=vulkan\nrender_scale=0.2499\n") << kInvalidScale;
    QTest::newRow("scale 0.2") << QByteArray("render_scale=0.2\n") << kInvalidScale;
    QTest::newRow("scale above") << QByteArray("renderer=vulkan\nrender_scale=1.0001\n") << kInvalidScale;
    QTest::newRow("scale is no number") << QByteArray("renderer=vulkan\nrender_scale=half\n") << kInvalidScale;
    QTest::newRow("scale is empty") << QByteArray("renderer=vulkan\nrender_scale=\n") << kInvalidScale;
    QTest::newRow("scale is not finite") << QByteArray("renderer=vulkan\nrender_scale=inf\n") << kInvalidScale;
    QTest::newRow("scale is not a number") << QByteArray("renderer=vulkan\nrender_scale=nan\n") << kInvalidScale;
    QTest::newRow("scale with a decimal comma") << QByteArray("renderer=vulkan\nrender_scale=0,5\n") << kInvalidScale;
    QTest::newRow("scale stored as nothing")
        << QByteArray("renderer=vulkan\nrender_scale=@Invalid()\n") << kInvalidScale;
    QTest::newRow("scale with OpenGL") << QByteArray("renderer=opengl\nrender_scale=0.999\n") << kInvalidScale;
    QTest::newRow("unknown preset") << QByteArray("renderer=vulkan\nfsr=ultra\n") << kInvalidFsr;
    QTest::newRow("preset's caption") << QByteArray("renderer=vulkan\nfsr=FSR 3.1.4 Kalite\n") << kInvalidFsr;
    QTest::newRow("empty preset") << QByteArray("renderer=vulkan\nfsr=\n") << kInvalidFsr;
    QTest::newRow("preset in another case") << QByteArray("renderer=vulkan\nfsr=Quality\n") << kInvalidFsr;
    QTest::newRow("preset with OpenGL") << QByteArray("renderer=opengl\nfsr=quality\n") << kInvalidFsr;
    QTest::newRow("sharpness below") << QByteArray("fsr_sharpness=-0.01\n") << kInvalidFsr;
    QTest::newRow("sharpness above") << QByteArray("fsr_sharpness=1.01\n") << kInvalidFsr;
    QTest::newRow("sharpness is no number") << QByteArray("fsr_sharpness=soft\n") << kInvalidFsr;
    QTest::newRow("sharpness is not a number") << QByteArray("fsr_sharpness=nan\n") << kInvalidFsr;
    QTest::newRow("unknown light") << QByteArray("rt_style=real\n") << style;
    QTest::newRow("empty light") << QByteArray("rt_style=\n") << style;
    QTest::newRow("texture detail below") << QByteArray("texture_detail=-1\n") << texture;
    QTest::newRow("texture detail above") << QByteArray("texture_detail=3\n") << texture;
    QTest::newRow("texture detail is no number") << QByteArray("texture_detail=high\n") << texture;
    QTest::newRow("texture detail is not whole") << QByteArray("texture_detail=1.5\n") << texture;
    QTest::newRow("texture detail beyond 32 bits") << QByteArray("texture_detail=4294967296\n") << texture;
    QTest::newRow("lightmap detail below") << QByteArray("lightmap_detail=-1\n") << lightmap;
    QTest::newRow("lightmap detail above") << QByteArray("lightmap_detail=3\n") << lightmap;
    QTest::newRow("lightmap detail is empty") << QByteArray("lightmap_detail=\n") << lightmap;
}

void TestGraphicsOptions::refusesInvalidSavedValues()
{
    QFETCH(QByteArray, section);
    write(section);
    QTEST(failureOf([&] { savedGraphics(*store); }), "message");
}

void TestGraphicsOptions::acceptsTheBoundsOfSavedValues_data()
{
    QTest::addColumn<QByteArray>("section");
    QTest::newRow("least scale") << QByteArray("renderer=vulkan\nrender_scale=0.25\n");
    QTest::newRow("largest scale") << QByteArray("renderer=vulkan\nrender_scale=1\n");
    QTest::newRow("OpenGL and scale one") << QByteArray("renderer=opengl\nrender_scale=1.0\n");
    QTest::newRow("least sharpness") << QByteArray("fsr_sharpness=0\n");
    QTest::newRow("largest sharpness") << QByteArray("fsr_sharpness=1\n");
    QTest::newRow("least detail") << QByteArray("texture_detail=0\nlightmap_detail=0\n");
    QTest::newRow("highest detail") << QByteArray("texture_detail=2\nlightmap_detail=2\n");
    QTest::newRow("required ray tracing with OpenGL") << QByteArray("renderer=opengl\nrt=required\n");
}

void TestGraphicsOptions::acceptsTheBoundsOfSavedValues()
{
    QFETCH(QByteArray, section);
    write(section);
    QCOMPARE(failureOf([&] { savedGraphics(*store); }), QString());
}

void TestGraphicsOptions::fallsBackToTheFirstNameWhereTheSavedOneIsUnknown_data()
{
    QTest::addColumn<QByteArray>("section");
    QTest::newRow("renderer") << QByteArray("renderer=metal\n");
    QTest::newRow("renderer in another case") << QByteArray("renderer=Vulkan\n");
    QTest::newRow("appearance") << QByteArray("appearance=new\n");
    QTest::newRow("ray tracing") << QByteArray("rt=on\n");
    QTest::newRow("bytes that are no UTF-8") << QByteArray("renderer=\xff\xfe\nappearance=\xff\nrt=\x80\n");
}

void TestGraphicsOptions::fallsBackToTheFirstNameWhereTheSavedOneIsUnknown()
{
    QFETCH(QByteArray, section);
    write(section);
    QCOMPARE(savedGraphics(*store), GraphicsOptions());
}

void TestGraphicsOptions::testsTheScaleAgainstTheRendererInEffect()
{
    write("renderer=metal\nrender_scale=0.5\n");
    QCOMPARE(failureOf([&] { savedGraphics(*store); }), kInvalidScale);
}

void TestGraphicsOptions::tellsTheFirstOfSeveralFaults()
{
    write("render_scale=2\nfsr=none\nrt_style=none\ntexture_detail=9\nlightmap_detail=9\n");
    QCOMPARE(failureOf([&] { savedGraphics(*store); }), kInvalidScale);
    write("fsr=none\nrt_style=none\ntexture_detail=9\nlightmap_detail=9\n");
    QCOMPARE(failureOf([&] { savedGraphics(*store); }), kInvalidFsr);
    write("rt_style=none\ntexture_detail=9\nlightmap_detail=9\n");
    QCOMPARE(failureOf([&] { savedGraphics(*store); }), u"Invalid saved rt_style: faithful or physical required"_s);
    write("texture_detail=9\nlightmap_detail=9\n");
    QCOMPARE(failureOf([&] { savedGraphics(*store); }), u"Invalid saved graphics/texture_detail: 0..2 required"_s);
}

void TestGraphicsOptions::leavesTheRendererAloneWhileNoneIsSelected()
{
    write("renderer=vulkan\nrender_scale=0.5\nfsr=off\n");
    GraphicsOptions options = chosen(QString(), 1.0, u"quality"_s);
    options.volumePercent = 12;
    saveGraphics(*store, options);
    QCOMPARE(store->value(u"graphics/renderer"_s).toString(), u"vulkan"_s);
    QCOMPARE(store->value(u"graphics/render_scale"_s).toDouble(), 0.5);
    QCOMPARE(store->value(u"graphics/fsr"_s).toString(), u"off"_s);
    QCOMPARE(store->value(u"graphics/volume"_s).toInt(), 12);
}

void TestGraphicsOptions::refusesToSaveWhatOpenGlDoesNotHave_data()
{
    QTest::addColumn<QString>("renderer");
    QTest::addColumn<double>("scale");
    QTest::addColumn<QString>("fsr");
    QTest::addColumn<QString>("message");
    const QString scaling = u"OpenGL requires render_scale=1; select Vulkan for render scaling"_s;
    const QString upscaler = u"OpenGL renders natively; select Vulkan for FSR 3.1.4"_s;
    QTest::newRow("OpenGL alone") << u"opengl"_s << 1.0 << u"off"_s << QString();
    QTest::newRow("OpenGL scaled") << u"opengl"_s << 0.5 << u"off"_s << scaling;
    QTest::newRow("OpenGL scaled a little") << u"opengl"_s << 0.99 << u"off"_s << scaling;
    QTest::newRow("OpenGL upscaled") << u"opengl"_s << 1.0 << u"native"_s << upscaler;
    QTest::newRow("OpenGL with both tells the scale first") << u"opengl"_s << 0.5 << u"native"_s << scaling;
    QTest::newRow("Vulkan with both") << u"vulkan"_s << 0.5 << u"native"_s << QString();
    QTest::newRow("no renderer selected") << QString() << 0.5 << u"native"_s << QString();
}

void TestGraphicsOptions::refusesToSaveWhatOpenGlDoesNotHave()
{
    QFETCH(QString, renderer);
    QFETCH(double, scale);
    QFETCH(QString, fsr);
    QTEST(failureOf([&] { requireSavable(chosen(renderer, scale, fsr)); }), "message");
}

void TestGraphicsOptions::refusesToStartOpenGlWithRequiredRayTracing_data()
{
    QTest::addColumn<QString>("renderer");
    QTest::addColumn<QString>("rayTracing");
    QTest::addColumn<QString>("message");
    for (const QString& renderer : rendererNames()) {
        for (const QString& mode : rayTracingNames()) {
            const bool refused = renderer == "opengl"_L1 && mode == "required"_L1;
            QTest::newRow(qPrintable(renderer + u' ' + mode))
                << renderer << mode
                << (refused ? u"Required hardware ray tracing is incompatible with OpenGL; select off or auto"_s
                            : QString());
        }
    }
}

void TestGraphicsOptions::refusesToStartOpenGlWithRequiredRayTracing()
{
    QFETCH(QString, renderer);
    QFETCH(QString, rayTracing);
    GraphicsOptions options;
    options.renderer = renderer;
    options.rayTracing = rayTracing;
    QTEST(failureOf([&] { requireStartable(options); }), "message");
    QCOMPARE(failureOf([&] { requireSavable(options); }), QString());
}

void TestGraphicsOptions::settlesControls_data()
{
    QTest::addColumn<GraphicsOptions>("options");
    QTest::addColumn<DependentControls>("settled");
    const auto row = [](const char* name, const GraphicsOptions& options, const DependentControls& settled) {
        QTest::newRow(name) << options << settled;
    };
    row("OpenGL loses scale, upscaler and frame generation", chosen(u"opengl"_s, 0.5, u"quality"_s, true),
        {1.0, u"off"_s, false, false, false, false, false});
    row("OpenGL loses a lone frame generation", chosen(u"opengl"_s, 1.0, u"off"_s, true),
        {1.0, u"off"_s, false, false, false, false, false});
    row("Vulkan without an upscaler scales", chosen(u"vulkan"_s, 0.5, u"off"_s),
        {0.5, u"off"_s, false, true, true, false, false});
    row("Vulkan without an upscaler loses frame generation", chosen(u"vulkan"_s, 0.5, u"off"_s, true),
        {0.5, u"off"_s, false, true, true, false, false});
    row("an upscaler replaces the scale and keeps its value", chosen(u"vulkan"_s, 0.5, u"native"_s, true),
        {0.5, u"native"_s, true, false, true, true, true});
    row("an upscaler does not switch frame generation on", chosen(u"vulkan"_s, 1.0, u"balanced"_s),
        {1.0, u"balanced"_s, false, false, true, true, true});
    row("no renderer has what OpenGL has", chosen(QString(), 0.5, u"quality"_s, true),
        {1.0, u"off"_s, false, false, false, false, false});
}

void TestGraphicsOptions::settlesControls()
{
    QFETCH(GraphicsOptions, options);
    QFETCH(DependentControls, settled);
    QCOMPARE(settledControls(options), settled);
    options.renderScale = settled.renderScale;
    options.fsr = settled.fsr;
    options.frameGeneration = settled.frameGeneration;
    QCOMPARE(settledControls(options), settled);
    QCOMPARE(failureOf([&] { requireSavable(options); }), QString());
}

void TestGraphicsOptions::namesSixPresets()
{
    QStringList shown;
    for (const FsrPreset& preset : fsrPresets())
        shown.append(preset.name + u'|' + preset.caption);
    QCOMPARE(
        shown, QStringList(
                   {u"off|Kapalı (çizim ölçeği)"_s, u"native|FSR 3.1.4 Doğal AA"_s, u"quality|FSR 3.1.4 Kalite"_s,
                    u"balanced|FSR 3.1.4 Dengeli"_s, u"performance|FSR 3.1.4 Performans"_s,
                    u"ultra_performance|FSR 3.1.4 Ultra Performans"_s}));
}

QTEST_APPLESS_MAIN(TestGraphicsOptions)
#include "test_graphics_options.moc"
