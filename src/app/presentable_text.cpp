#include "app/presentable_text.h"

#include <QTextBoundaryFinder>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace vok
{
namespace
{

constexpr qsizetype kMostShown = 500;
constexpr qsizetype kLongestWord = 32;
constexpr QChar kZeroWidthSpace(0x200B);

// Qt's text documents begin a new paragraph at these two noncharacters.
constexpr char16_t kFrameBegin = 0xFDD0;
constexpr char16_t kFrameEnd = 0xFDD1;

bool isBidiControl(char16_t unit)
{
    return unit == 0x061C || unit == 0x200E || unit == 0x200F || (unit >= 0x202A && unit <= 0x202E)
           || (unit >= 0x2066 && unit <= 0x2069);
}

bool isEscaped(QChar unit)
{
    switch (unit.category()) {
    case QChar::Other_Control:
        return unit != u'\t';
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return unit == kFrameBegin || unit == kFrameEnd || isBidiControl(unit.unicode());
    }
}

QString escapeOf(QChar unit)
{
    if (unit == u'\n')
        return u"\\n"_s;
    if (unit == u'\r')
        return u"\\r"_s;
    return u"\\u%1"_s.arg(unit.unicode(), 4, 16, QChar(u'0'));
}

bool isInsidePair(const QString& text, qsizetype position)
{
    return position > 0 && position < text.size() && text.at(position).isLowSurrogate()
           && text.at(position - 1).isHighSurrogate();
}

QString shownHead(const QString& text, qsizetype most)
{
    QString head;
    for (qsizetype position = 0, next = 0; position < text.size(); position = next) {
        next = position + (isInsidePair(text, position + 1) ? 2 : 1);
        const QString piece = presentable(text.sliced(position, next - position));
        if (head.size() + piece.size() > most)
            break;
        head += piece;
    }
    return head;
}

QString shownTail(const QString& text, qsizetype most)
{
    QString tail;
    for (qsizetype position = text.size(), next = 0; position > 0; position = next) {
        next = position - (isInsidePair(text, position - 1) ? 2 : 1);
        const QString piece = presentable(text.sliced(next, position - next));
        if (tail.size() + piece.size() > most)
            break;
        tail.prepend(piece);
    }
    return tail;
}

void appendBroken(QString& result, const QString& word)
{
    qsizetype begin = 0;
    while (word.size() - begin > kLongestWord) {
        const qsizetype end = begin + kLongestWord - (isInsidePair(word, begin + kLongestWord) ? 1 : 0);
        result += word.sliced(begin, end - begin);
        result += kZeroWidthSpace;
        begin = end;
    }
    result += word.sliced(begin);
}

} // namespace

QString oneLine(const QString& text)
{
    if (std::none_of(text.cbegin(), text.cend(), isEscaped))
        return text;
    QString line;
    line.reserve(text.size());
    for (const QChar unit : text) {
        if (isEscaped(unit))
            line += escapeOf(unit);
        else
            line += unit;
    }
    return line;
}

QString presentable(const QString& text)
{
    QString shown = oneLine(text).replace(u'\t', u"\\t"_s);
    if (shown.size() <= kMostShown)
        return shown;
    constexpr qsizetype kHalf = (kMostShown - 1) / 2;
    return shownHead(text, kHalf) + u'…' + shownTail(text, kHalf);
}

QString breakable(const QString& text)
{
    QString result;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Line, text);
    qsizetype begin = 0;
    for (qsizetype end = finder.toNextBoundary(); end >= 0; end = finder.toNextBoundary()) {
        appendBroken(result, text.sliced(begin, end - begin));
        begin = end;
    }
    return result;
}

} // namespace vok
