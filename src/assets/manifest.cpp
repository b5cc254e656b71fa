#include "assets/manifest.h"

#include "assets/failure.h"
#include "assets/portable_path.h"
#include "assets/safe_files.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace vok::launcher_assets
{
namespace
{

constexpr int kFormat = 1;
constexpr QStringView kTrust = u"user-selected-local-snapshot";
constexpr qsizetype kHashCharacters = 64;

QByteArray readBytes(const Directory& root, const StoreLimits& limits)
{
    const QDeadlineTimer forever(QDeadlineTimer::Forever);
    const FileHandle file =
        openSafeIn(root, kManifestName.toString(), Access::Read, Disposition::OpenExisting, forever, Sharing::Read);
    const auto information = informationOf(file);
    if (!information || information->size == 0 || information->size > limits.manifestBytes)
        fail(u"Invalid asset manifest size"_s);
    QByteArray bytes(information->size, Qt::Uninitialized);
    if (readBlock(file, bytes.data(), bytes.size()) != bytes.size())
        fail(u"Cannot read manifest"_s);
    return bytes;
}

QJsonArray parsedFiles(const QByteArray& bytes, const StoreLimits& limits)
{
    QJsonParseError error = {};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        fail(u"Invalid asset manifest JSON"_s);
    const QJsonObject top = document.object();
    const QJsonValue files = top.value("files"_L1);
    if (top.value("format"_L1).toInt(-1) != kFormat || top.value("trust"_L1).toString() != kTrust || !files.isArray())
        fail(u"Unsupported asset manifest"_s);
    QJsonArray entries = files.toArray();
    if (entries.isEmpty() || entries.size() > limits.entries)
        fail(u"Empty or oversized asset manifest"_s);
    return entries;
}

bool isLowerHex(char character)
{
    return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f');
}

/// A size as JSON has it, or -1 where it is no whole number from 0 to `most`.
qint64 wholeSize(double size, qint64 most)
{
    if (!(size >= 0) || size > static_cast<double>(most))
        return -1;
    const auto whole = static_cast<qint64>(size);
    return static_cast<double>(whole) == size ? whole : -1;
}

ManifestEntry parsedEntry(const QString& path, const QJsonObject& object, const StoreLimits& limits)
{
    ManifestEntry entry = {
        wholeSize(object.value("size"_L1).toDouble(-1.0), limits.fileBytes),
        object.value("sha256"_L1).toString().toLatin1()};
    if (!isPortablePath(path) || entry.sha256.size() != kHashCharacters || entry.size < 0)
        fail(u"Invalid asset manifest entry"_s);
    if (!std::all_of(entry.sha256.cbegin(), entry.sha256.cend(), isLowerHex))
        fail(u"Invalid asset manifest SHA256"_s);
    return entry;
}

/// The length of what two paths share up to their last common separator.
qsizetype sharedParentLength(QStringView left, QStringView right)
{
    const auto shared = std::mismatch(left.begin(), left.end(), right.begin(), right.end()).first - left.begin();
    return std::max<qsizetype>(left.first(shared).lastIndexOf(u'/'), 0);
}

void rejectFilesAsDirectories(const Manifest& files, const QSet<QString>& keys)
{
    QString previous;
    for (auto file = files.keyBegin(); file != files.keyEnd(); ++file) {
        const QString key = portableKey(*file);
        // What the file before had for parents is looked up already; so each directory is looked up once.
        const qsizetype known = sharedParentLength(key, previous);
        for (qsizetype end = key.lastIndexOf(u'/'); end > known; end = key.lastIndexOf(u'/', end - 1)) {
            if (keys.contains(key.first(end)))
                fail(u"Asset manifest file/directory collision"_s);
        }
        previous = key;
    }
}

/// Readers take a byte order mark at the front of a text for no part of it, so there it is written as an escape.
QByteArray compactEntry(const QJsonObject& entry)
{
    return QJsonDocument(entry).toJson(QJsonDocument::Compact).replace("\"path\":\"\xef\xbb\xbf", "\"path\":\"\\ufeff");
}

void rejectOversized(const QByteArray& bytes, const StoreLimits& limits)
{
    if (bytes.size() > limits.manifestBytes)
        fail(u"Asset manifest exceeds 64 MiB limit"_s);
}

} // namespace

QString assetsPath(const QString& root)
{
    return QDir(root).filePath(kAssetsName.toString());
}

QString manifestPath(const QString& root)
{
    return QDir(root).filePath(kManifestName.toString());
}

Manifest parseManifest(const QByteArray& bytes, const StoreLimits& limits)
{
    const QJsonArray entries = parsedFiles(bytes, limits);
    Manifest files;
    QSet<QString> keys;
    qint64 totalBytes = 0;
    qint64 pathBytes = 0;
    for (const auto& value : entries) {
        const QJsonObject object = value.toObject();
        const QString path = object.value("path"_L1).toString();
        const ManifestEntry entry = parsedEntry(path, object, limits);
        const qsizetype known = keys.size();
        keys.insert(portableKey(path));
        if (keys.size() == known)
            fail(u"Duplicate asset manifest path"_s);
        if (entry.size > limits.totalBytes - totalBytes)
            fail(u"Manifest exceeds 128 GiB limit"_s);
        totalBytes += entry.size;
        pathBytes += path.toUtf8().size();
        if (pathBytes > limits.pathBytes)
            fail(u"Manifest paths exceed 64 MiB limit"_s);
        files.insert(path, entry);
    }
    rejectFilesAsDirectories(files, keys);
    return files;
}

Manifest readManifest(const Directory& root, const StoreLimits& limits)
{
    return parseManifest(readBytes(root, limits), limits);
}

QByteArray writeManifestBytes(const Manifest& files, const StoreLimits& limits)
{
    // Entry by entry, since one document of 200000 entries takes several times the memory of its bytes.
    QByteArray bytes = R"({"files":[)";
    for (auto file = files.cbegin(); file != files.cend(); ++file) {
        const QJsonObject entry = {
            {u"path"_s, file.key()}, {u"size"_s, file->size}, {u"sha256"_s, QString::fromLatin1(file->sha256)}};
        if (file != files.cbegin())
            bytes += ',';
        bytes += compactEntry(entry);
        rejectOversized(bytes, limits);
    }
    const QJsonObject rest = {{u"format"_s, kFormat}, {u"trust"_s, kTrust.toString()}};
    bytes += "]," + QJsonDocument(rest).toJson(QJsonDocument::Compact).sliced(1);
    rejectOversized(bytes, limits);
    return bytes;
}

} // namespace vok::launcher_assets
