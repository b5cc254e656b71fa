#include "transport/server_answer.h"

#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::Literals::StringLiterals;

namespace vok
{

QString refusalText(const QByteArray& body, int status, const QString& networkError)
{
    const QJsonObject answer = QJsonDocument::fromJson(body).object();
    QString message = answer.value("error"_L1).toObject().value("message"_L1).toString();
    if (!message.isEmpty())
        return message;
    return u"Sunucu isteği reddetti (%1): %2"_s.arg(QString::number(status), networkError);
}

} // namespace vok
