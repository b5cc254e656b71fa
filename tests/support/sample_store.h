/// A small game folder, and a store made of it, for tests of what happens to stores.
#pragma once

#include "support/temp_tree.h"

namespace vok::test_support
{

/// Below one temporary folder: "game" with a few files of the game's kind, and room for an installation at "store".
class SampleStore
{
public:
    SampleStore();

    const TempTree& tree() const { return m_tree; }
    QString source() const { return m_tree.path(QStringLiteral("game")); }
    QString root() const { return m_tree.path(QStringLiteral("store")); }
    /// Imports the game folder; ends the test program where that fails.
    void import() const;
    /// All that stands in the installation root, as TempTree::listing gives it.
    QStringList rootListing() const { return m_tree.listing(QStringLiteral("store")); }

private:
    TempTree m_tree;
};

} // namespace vok::test_support
