#include "accounts/secret_bytes.h"
#include "app/launcher.h"

#include <QLineEdit>

namespace vok
{

void Launcher::clearSession()
{
    overwrite(sessionToken);
    // QLineEdit::clear would keep the password in the history of the field.
    password->setText(QString());
    sessionAuth.clear();
}

} // namespace vok
