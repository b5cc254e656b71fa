#include "app/launcher.h"
#include "transport/url_policy.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QUrl>

#include <stdexcept>

namespace vok
{
namespace
{

constexpr long long kLargestAnswerBytes = 2097152;

} // namespace

void Launcher::api(
    const QString& path, const QByteArray& method, const QJsonObject& body, bool auth, AnswerHandler done)
{
    const QString origin = currentAuth();
    const QString ca = currentCa();
    const QUrl url = parseAuthOrigin(origin).resolved(QUrl(path, QUrl::TolerantMode));
    const QByteArray json = body.isEmpty() ? QByteArray() : QJsonDocument(body).toJson(QJsonDocument::Compact);
    const auto deliver = [this, origin, ca, done = std::move(done)](const QByteArray& answer) {
        if (currentAuth() != origin || currentCa() != ca)
            throw std::runtime_error("Server profile changed; stale response discarded");
        done(answer);
    };
    fetch(url, ca, method, json, auth, kLargestAnswerBytes, {}, deliver, 0, nullptr);
}

} // namespace vok
