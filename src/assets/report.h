/// What an operation on the store came to.
#pragma once

#include <QString>
#include <QStringList>

#include <exception>

namespace vok::launcher_assets
{

/// All four lists are empty after an operation that succeeded. Paths stand in the order of the manifest.
struct Report
{
    /// Messages of a failed operation.
    QStringList errors;
    /// Manifest paths that the tree lacks.
    QStringList missing;
    /// Manifest paths whose size or hash differs.
    QStringList changed;
    /// Tree paths that the manifest does not list.
    QStringList extra;
    /// Number of manifest entries.
    qint64 files = 0;
    /// Sum of the manifest's sizes.
    quint64 bytes = 0;

    bool isClean() const { return errors.isEmpty() && missing.isEmpty() && changed.isEmpty() && extra.isEmpty(); }
};

/// The report of `work`, or one that holds nothing but the text of the std::exception that ended it.
template <typename Work> Report reported(Work work)
{
    try {
        return work();
    } catch (const std::exception& failure) {
        Report report;
        report.errors.append(QString::fromUtf8(failure.what()));
        return report;
    }
}

} // namespace vok::launcher_assets
