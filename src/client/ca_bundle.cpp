#include "client/ca_bundle.h"

#include <QFile>
#include <QFileInfo>

#include <openssl/x509.h>
#include <stdexcept>

namespace vok::launcher_client
{

QString systemCaBundle()
{
    QString path =
        qEnvironmentVariable(X509_get_default_cert_file_env(), QFile::decodeName(X509_get_default_cert_file()));
    if (!QFileInfo(path).isFile())
        throw std::runtime_error("System CA bundle not found; set the server CA file with Sunucu ekle");
    return path;
}

} // namespace vok::launcher_client
