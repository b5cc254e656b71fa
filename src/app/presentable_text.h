/// How texts that quote somebody else's words (a path, a server, a game's output) are made fit to be shown. Ordinary
/// texts come back unchanged.
#pragma once

#include <QString>

namespace vok
{

/// `text` as one line of the log, in full length. Line breaks, all other control characters but the tab, and what
/// turns the direction of writing become visible escapes: \n, \r, or the code as in \u202e.
QString oneLine(const QString& text);

/// `text` for a label or a message box: oneLine with the tab escaped too, and above 500 characters with "…" for its
/// middle. Neither an escape nor a surrogate pair is cut.
QString presentable(const QString& text);

/// `text` with a zero-width space after every 32 characters of what would else be a longer unbreakable word, for a
/// view that grows as wide as its longest word.
QString breakable(const QString& text);

} // namespace vok
