/// Manifests for tests: valid unless told otherwise.
#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>

namespace vok::test_support
{

/// The hash of nothing, for entries whose content plays no part.
inline constexpr char kEmptySha256[] = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

/// Builds the bytes of a manifest, one entry or one fault at a time.
class ManifestBuilder
{
public:
    ManifestBuilder();

    ManifestBuilder& entry(
        const QString& path, const QJsonValue& size = 0, const QJsonValue& sha256 = QString::fromLatin1(kEmptySha256));
    /// An element of the list as it stands.
    ManifestBuilder& element(const QJsonValue& value);
    /// Sets a top-level key.
    ManifestBuilder& top(const QString& key, const QJsonValue& value);
    QByteArray bytes() const;

private:
    QJsonObject m_top;
    QJsonArray m_entries;
};

} // namespace vok::test_support
