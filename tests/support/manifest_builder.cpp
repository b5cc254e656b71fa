#include "support/manifest_builder.h"

#include <QJsonDocument>

using namespace Qt::Literals::StringLiterals;

namespace vok::test_support
{

ManifestBuilder::ManifestBuilder()
    : m_top{{u"format"_s, 1}, {u"trust"_s, u"user-selected-local-snapshot"_s}}
{
}

ManifestBuilder& ManifestBuilder::entry(const QString& path, const QJsonValue& size, const QJsonValue& sha256)
{
    return element(QJsonObject{{u"path"_s, path}, {u"size"_s, size}, {u"sha256"_s, sha256}});
}

ManifestBuilder& ManifestBuilder::element(const QJsonValue& value)
{
    m_entries.append(value);
    return *this;
}

ManifestBuilder& ManifestBuilder::top(const QString& key, const QJsonValue& value)
{
    m_top.insert(key, value);
    return *this;
}

QByteArray ManifestBuilder::bytes() const
{
    QJsonObject object = m_top;
    if (!object.contains(u"files"_s))
        object.insert(u"files"_s, m_entries);
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace vok::test_support
