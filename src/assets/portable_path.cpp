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

bool hasLongRunOfMarks(const QString& text)
{
    constexpr int kMarksOfAnyScript = 30;
    int run = 0;
    return std::any_of(text.cbegin(), text.cend(), [&](QChar character) {
        // Half of a surrogate pair may belong to a mark, too.
        run = character.isMark() || character.isSurrogate() ? run + 1 : 0;
        return run > kMarksOfAnyScript;
    });
}

void appendDecomposed(QList<char32_t>& decomposed, char32_t character)
{
    const QString parts =
        QChar::decompositionTag(character) == QChar::Canonical ? QChar::decomposition(character) : QString();
    if (parts.isEmpty()) {
        decomposed.append(character);
        return;
    }
    for (const uint part : parts.toUcs4())
        appendDecomposed(decomposed, part);
}

/// `text` decomposed and in canonical order, which is the same text to any normalisation.
QString canonicallyOrdered(const QString& text)
{
    QList<char32_t> decomposed;
    for (const uint character : text.toUcs4())
        appendDecomposed(decomposed, character);
    const auto isStarter = [](char32_t character) { return QChar::combiningClass(character) == 0; };
    for (auto run = decomposed.begin(); run != decomposed.end();) {
        run = std::find_if_not(run, decomposed.end(), isStarter);
        const auto end = std::find_if(run, decomposed.end(), isStarter);
        std::stable_sort(run, end, [](char32_t left, char32_t right) {
            return QChar::combiningClass(left) < QChar::combiningClass(right);
        });
        run = end;
    }
    return QString::fromUcs4(decomposed.constData(), decomposed.size());
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
    // Qt orders combining marks in quadratic time, unless they are in order.
    const QString ordered = hasLongRunOfMarks(path) ? canonicallyOrdered(path) : path;
    return ordered.normalized(QString::NormalizationForm_C).toCaseFolded();
}

} // namespace vok::launcher_assets
