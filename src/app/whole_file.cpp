#include "app/whole_file.h"

#include <QSaveFile>

namespace vok
{

bool commitFlushed(QSaveFile& file)
{
    // A failed flush is tested by itself: Qt 6.4's commit overlooks it, and would put an empty file in the place of the
    // old one.
    return file.flush() && file.commit();
}

bool replaceFile(const QString& path, const QByteArray& bytes)
{
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && commitFlushed(file);
}

} // namespace vok
