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
    // A kept connection still holds the headers and answers that it carried.
    network.forgetConnections();
}

} // namespace vok
