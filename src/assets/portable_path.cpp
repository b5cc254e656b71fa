#include "assets/portable_path.h"

#include <QList>

#include <algorithm>

namespace vok::launcher_assets
{
namespace
{

bool isForbidden(QChar character)
{
    return character.unicode() < 0x20 || character.unicode() == 0x7f || character == u'\\' || character == u':';
}

bool isAscii(const QString& text)
{
    return std::all_of(text.cbegin(), text.cend(), [](QChar character) { return character.unicode() < 0x80; });
}

} // namespace

bool isPortablePath(const QString& path)
{
    if (path.isEmpty() || path.size() > kLongestPathUnits || std::any_of(path.cbegin(), path.cend(), isForbidden))
        return false;
    const auto components = QStringView(path).split(u'/');
    return components.size() <= kMostPathComponents
           && std::none_of(components.cbegin(), components.cend(), [](QStringView component) {
                  return component.isEmpty() || component == QStringView(u".") || component == QStringView(u"..");
              });
}

QString portableKey(const QString& path)
{
    // Composition leaves ASCII as it is, and asking for it costs five times the folding.
    if (isAscii(path))
        return path.toLower();
    return path.normalized(QString::NormalizationForm_C).toCaseFolded();
}

} // namespace vok::launcher_assets
