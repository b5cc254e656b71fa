#include "client/whole_file.h"

#include <QSaveFile>

namespace vok::launcher_client
{

bool replaceFile(const QString& path, const QByteArray& bytes)
{
    QSaveFile file(path);
    // A failed flush is tested by itself: Qt 6.4's commit overlooks it, and would put an empty file in the place of the
    // old one.
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.flush() && file.commit();
}

} // namespace vok::launcher_client
