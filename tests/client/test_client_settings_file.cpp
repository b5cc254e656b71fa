#include "client/client_settings_file.h"
#include "client/graphics_options.h"
#include "support/failure_of.h"
#include "support/full_disk.h"
#include "support/temp_tree.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

#include <memory>

using namespace Qt::Literals::StringLiterals;
using namespace vok::launcher_client;
using namespace vok::test_support;

class TestClientSettingsFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { tree = std::make_unique<TempTree>(); }
    void liesInTheInstallation();
    void readsNothingWhereThereIsNoFile();
    void readsWhatTheClientWrote();
    void readsUpTo65536Bytes();
    void refusesWhatIsNoSafeFile_data();
    void refusesWhatIsNoSafeFile();
    void refusesAFileThatMayNotBeRead();
    void refusesAFileThatTellsNoTrueSize();
    void refusesWhatIsNoObject_data();
    void refusesWhatIsNoObject();
    void writesEveryOption();
    void writesTheVolumeAsAFraction_data();
    void writesTheVolumeAsAFraction();
    void keepsWhatTheClientWrote();
    void removesKeysOfAnEarlierForm();
    void keepsTheModeOfAnEarlierStartWithoutAnUpscaler();
    void writesIndentedIntoANewFolder();
    void writesTheFileThatALinkLeadsTo();
    void leavesTheOldFileWhereItCannotWrite_data();
    void leavesTheOldFileWhereItCannotWrite();
    void leavesTheOldFileOnAFullDisk();

private:
    QString file() const { return tree->path(u"settings/graphics.json"_s); }
    QString failureOfReading() const
    {
        return failureOf([&] { readClientSettings(file()); });
    }
    QString failureOfWriting() const
    {
        return failureOf([&] { writeClientSettings(file(), {{u"width"_s, 1}}); });
    }

    std::unique_ptr<TempTree> tree;
};

namespace
{

const QString kName = u"settings/graphics.json"_s;
const QString kCannotRead = u"Cannot safely read preserved client settings"_s;
const QString kInvalid = u"Existing client settings are invalid; not overwritten"_s;
const QString kCannotWrite = u"Cannot atomically write settings"_s;

QByteArray objectOfBytes(qsizetype size)
{
    const QByteArray empty = R"({"pad":""})";
    return QByteArray(empty).insert(empty.size() - 2, QByteArray(size - empty.size(), 'x'));
}

} // namespace

void TestClientSettingsFile::liesInTheInstallation()
{
    QCOMPARE(clientSettingsPath(u"/oyun klasörü"_s), u"/oyun klasörü/settings/graphics.json"_s);
}

void TestClientSettingsFile::readsNothingWhereThereIsNoFile()
{
    QCOMPARE(readClientSettings(file()), QJsonObject());
    QVERIFY(tree->listing().isEmpty());
}

void TestClientSettingsFile::readsWhatTheClientWrote()
{
    tree->write(kName, R"({"width":1,"key":{"a":[1,2]}})");
    const QJsonObject expected{{u"width"_s, 1}, {u"key"_s, QJsonObject{{u"a"_s, QJsonArray{1, 2}}}}};
    QCOMPARE(readClientSettings(file()), expected);
}

void TestClientSettingsFile::readsUpTo65536Bytes()
{
    tree->write(kName, objectOfBytes(65536));
    QCOMPARE(readClientSettings(file()).value("pad"_L1).toString().size(), 65536 - 10);
    tree->write(kName, objectOfBytes(65537));
    QCOMPARE(failureOfReading(), kCannotRead);
}

void TestClientSettingsFile::refusesWhatIsNoSafeFile_data()
{
    QTest::addColumn<QString>("kind");
    for (const char* kind :
         {"directory", "pipe", "link to a pipe", "link to a directory", "link to a device", "link that leads nowhere",
          "link to itself"})
        QTest::newRow(kind) << QString::fromLatin1(kind);
}

void TestClientSettingsFile::refusesWhatIsNoSafeFile()
{
    QFETCH(QString, kind);
    tree->makeDirectory(u"settings"_s);
    if (kind == "directory"_L1)
        tree->makeDirectory(kName);
    else if (kind == "pipe"_L1)
        tree->makePipe(kName);
    tree->makePipe(u"pipe"_s);
    const QMap<QString, QString> targets{
        {u"link to a pipe"_s, tree->path(u"pipe"_s)}, {u"link to a directory"_s, tree->path(u"settings"_s)},
        {u"link to a device"_s, u"/dev/zero"_s},      {u"link that leads nowhere"_s, tree->path(u"yok"_s)},
        {u"link to itself"_s, u"graphics.json"_s},
    };
    if (targets.contains(kind))
        tree->link(targets.value(kind), kName);
    const QStringList before = tree->listing();
    QCOMPARE(failureOfReading(), kCannotRead);
    QCOMPARE(tree->listing(), before);
}

void TestClientSettingsFile::refusesAFileThatMayNotBeRead()
{
    QVERIFY(QFile::setPermissions(tree->write(kName, "{}"), QFile::WriteOwner));
    QCOMPARE(failureOfReading(), kCannotRead);
}

// The kernel says 0 bytes of this one and gives more than 65536.
void TestClientSettingsFile::refusesAFileThatTellsNoTrueSize()
{
    tree->makeDirectory(u"settings"_s);
    tree->link(u"/proc/kallsyms"_s, kName);
    QCOMPARE(failureOfReading(), kCannotRead);
}

void TestClientSettingsFile::refusesWhatIsNoObject_data()
{
    QTest::addColumn<QByteArray>("content");
    for (const char* content :
         {"", "[]", R"([{"width":1}])", "null", "1", R"("text")", "{", R"({"width":})", R"({"width":1} x)",
          "{\"name\":\"\xff\"}"})
        QTest::newRow(content) << QByteArray(content);
    QTest::newRow("deep") << QByteArray(65536, '[');
}

void TestClientSettingsFile::refusesWhatIsNoObject()
{
    QFETCH(QByteArray, content);
    tree->write(kName, content);
    QCOMPARE(failureOfReading(), kInvalid);
    QCOMPARE(tree->read(kName), content);
}

void TestClientSettingsFile::writesEveryOption()
{
    GraphicsOptions options;
    options.renderer = u"vulkan"_s;
    options.renderScale = 0.85;
    options.fsr = u"quality"_s;
    options.fsrSharpness = 0.05;
    options.frameGeneration = true;
    options.appearance = u"enhanced"_s;
    options.rayTracing = u"auto"_s;
    options.rtStyle = u"physical"_s;
    options.textureDetail = 1;
    options.lightmapDetail = 0;
    options.width = 3840;
    options.height = 2160;
    options.fullscreen = true;
    options.volumePercent = 35;
    const QJsonObject expected{
        {u"width"_s, 3840},
        {u"height"_s, 2160},
        {u"fullscreen"_s, true},
        {u"volume"_s, 0.35},
        {u"renderer"_s, u"vulkan"_s},
        {u"appearance"_s, u"enhanced"_s},
        {u"rt"_s, u"auto"_s},
        {u"rt_style"_s, u"physical"_s},
        {u"render_scale"_s, 0.85},
        {u"upscaler"_s, u"fsr3"_s},
        {u"fsr_sharpness"_s, 0.05},
        {u"frame_generation"_s, true},
        {u"texture_detail"_s, 1},
        {u"lightmap_detail"_s, 0},
        {u"fsr_mode"_s, u"quality"_s},
    };
    QCOMPARE(mergedClientSettings({}, options), expected);
}

void TestClientSettingsFile::writesTheVolumeAsAFraction_data()
{
    QTest::addColumn<int>("percent");
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("silent") << 0 << QByteArray(R"(    "volume": 0,)");
    QTest::newRow("one") << 1 << QByteArray(R"(    "volume": 0.01,)");
    QTest::newRow("eighty") << 80 << QByteArray(R"(    "volume": 0.8,)");
    QTest::newRow("full") << 100 << QByteArray(R"(    "volume": 1,)");
}

void TestClientSettingsFile::writesTheVolumeAsAFraction()
{
    QFETCH(int, percent);
    QFETCH(QByteArray, line);
    GraphicsOptions options;
    options.volumePercent = percent;
    writeClientSettings(file(), mergedClientSettings({}, options));
    QVERIFY(tree->read(kName).split('\n').contains(line));
}

void TestClientSettingsFile::keepsWhatTheClientWrote()
{
    const QJsonObject client{
        {u"window"_s, QJsonObject{{u"zone"_s, 3}, {u"width"_s, 5}}},
        {u"keys"_s, QJsonArray{u"W"_s, u"ş"_s, QJsonValue::Null}},
        {u"number"_s, qint64{9007199254740993}},
        {u"fraction"_s, 0.1},
    };
    tree->write(kName, QJsonDocument(client).toJson());
    writeClientSettings(file(), mergedClientSettings(readClientSettings(file()), {}));
    const QJsonObject written = readClientSettings(file());
    for (auto entry = client.begin(); entry != client.end(); ++entry)
        QCOMPARE(written.value(entry.key()), entry.value());
    QCOMPARE(written.value("number"_L1).toInteger(), 9007199254740993);
    QCOMPARE(written.size(), client.size() + 14);
    QCOMPARE(written.value("width"_L1).toInt(), 1280);
}

void TestClientSettingsFile::removesKeysOfAnEarlierForm()
{
    QJsonObject kept{{u"zones"_s, 1}};
    for (const char* key : {"scene_member", "scene", "zone", "character_model", "model_mapping"})
        kept.insert(QLatin1StringView(key), 1);
    const QJsonObject merged = mergedClientSettings(kept, {});
    QCOMPARE(merged, mergedClientSettings({{u"zones"_s, 1}}, {}));
    QVERIFY(merged.contains("zones"_L1));
}

void TestClientSettingsFile::keepsTheModeOfAnEarlierStartWithoutAnUpscaler()
{
    QVERIFY(!mergedClientSettings({}, {}).contains("fsr_mode"_L1));
    const QJsonObject merged = mergedClientSettings({{u"fsr_mode"_s, u"quality"_s}}, {});
    QCOMPARE(merged.value("fsr_mode"_L1).toString(), u"quality"_s);
    QCOMPARE(merged.value("upscaler"_L1).toString(), u"bilinear"_s);
}

void TestClientSettingsFile::writesIndentedIntoANewFolder()
{
    const QJsonObject merged = mergedClientSettings({}, {});
    writeClientSettings(file(), merged);
    QCOMPARE(tree->read(kName), QJsonDocument(merged).toJson(QJsonDocument::Indented));
    QCOMPARE(tree->listing(), (QStringList{u"settings/"_s, kName}));
}

void TestClientSettingsFile::writesTheFileThatALinkLeadsTo()
{
    tree->makeDirectory(u"settings"_s);
    const QString kept = tree->write(u"kept.json"_s, R"({"own":1})");
    tree->link(kept, kName);
    writeClientSettings(file(), mergedClientSettings(readClientSettings(file()), {}));
    QVERIFY(QFileInfo(file()).isSymLink());
    QCOMPARE(readClientSettings(kept).value("own"_L1).toInt(), 1);
    QCOMPARE(readClientSettings(kept).value("width"_L1).toInt(), 1280);
}

void TestClientSettingsFile::leavesTheOldFileWhereItCannotWrite_data()
{
    QTest::addColumn<QString>("obstacle");
    QTest::newRow("folder that is a file") << u"file"_s;
    QTest::newRow("folder that may not be written") << u"folder"_s;
    QTest::newRow("file that may not be written") << u"locked"_s;
    QTest::newRow("folder in the file's place") << u"directory"_s;
}

void TestClientSettingsFile::leavesTheOldFileWhereItCannotWrite()
{
    QFETCH(QString, obstacle);
    if (obstacle == "file"_L1)
        tree->write(u"settings"_s, "kept");
    else if (obstacle == "directory"_L1)
        tree->makeDirectory(kName);
    else
        tree->write(kName, "kept");
    if (obstacle == "locked"_L1)
        QVERIFY(QFile::setPermissions(file(), QFile::ReadOwner));
    if (obstacle == "folder"_L1)
        QVERIFY(QFile::setPermissions(tree->path(u"settings"_s), QFile::ReadOwner | QFile::ExeOwner));
    const QMap<QString, QByteArray> before = tree->contents();
    const QString failure = failureOfWriting();
    const QMap<QString, QByteArray> after = tree->contents();
    QFile::setPermissions(tree->path(u"settings"_s), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QCOMPARE(failure, kCannotWrite);
    QCOMPARE(after, before);
}

void TestClientSettingsFile::leavesTheOldFileOnAFullDisk()
{
    tree->write(kName, R"({"own":1})");
    QString failure;
    {
        const FullDisk full;
        failure = failureOfWriting();
    }
    QCOMPARE(failure, kCannotWrite);
    QCOMPARE(tree->read(kName), QByteArray(R"({"own":1})"));
    QCOMPARE(tree->listing(), (QStringList{u"settings/"_s, kName}));
}

QTEST_APPLESS_MAIN(TestClientSettingsFile)
#include "test_client_settings_file.moc"
