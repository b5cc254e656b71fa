/// Whom a request trusts.
#pragma once

#include <QSslConfiguration>
#include <QString>

namespace vok
{

/// TLS 1.2 or later with a verified peer. With `caFile`, a PEM file of at most 4 MiB, its certificates alone are
/// trusted; an empty path stands for the system's trust. Throws std::runtime_error where the file cannot be read or
/// holds no certificate.
QSslConfiguration tlsConfiguration(const QString& caFile);

} // namespace vok
