#include "transport/hop.h"

#include "accounts/secret_bytes.h"
#include "transport/server_answer.h"
#include "transport/url_policy.h"

#include <QNetworkReply>

#include <algorithm>
#include <stdexcept>

using namespace Qt::Literals::StringLiterals;

namespace vok
{
namespace
{

constexpr qint64 kReadBytes = 65536;
constexpr qint64 kOtherBodyBytes = 65536; ///< body of an answer that is no success

const QString kOperationDeadline = u"HTTPS operation wall deadline exceeded"_s;
const QString kRequestDeadline = u"HTTPS request wall deadline exceeded"_s;
const QString kResponseBound = u"HTTPS response exceeds configured bound"_s;

} // namespace

Hop::Hop(
    QNetworkReply& reply, const HopRules& rules, std::shared_ptr<TransferBudget> budget,
    std::unique_ptr<QSaveFile> file)
    : QObject(&reply)
    , m_reply(reply)
    , m_rules(rules)
    , m_budget(std::move(budget))
    , m_chunk(kReadBytes, '\0')
{
    m_download.file = std::move(file);
    m_download.deadline = QDeadlineTimer(rules.time);
    m_reply.setReadBufferSize(kReadBytes);

    connect(&m_reply, &QNetworkReply::metaDataChanged, this, &Hop::readHeaders);
    connect(&m_reply, &QNetworkReply::readyRead, this, &Hop::readBody);
    // abort() emits finished at once, in the middle of whatever called it. Only what waits for its turn in the event
    // loop may end the exchange, ask the player or send the next request.
    connect(&m_reply, &QNetworkReply::finished, this, &Hop::end, Qt::QueuedConnection);
    connect(&m_reply, &QNetworkReply::finished, &m_timer, &QTimer::stop);

    // A coarse timer may fire before the deadline that it stands for.
    m_timer.setTimerType(Qt::PreciseTimer);
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        fail(m_budget->deadline.hasExpired() ? kOperationDeadline : kRequestDeadline);
    });
    const std::chrono::milliseconds operationTime(std::max<qint64>(m_budget->deadline.remainingTime(), 1));
    m_timer.start(std::min(rules.time, operationTime));
}

Hop::~Hop()
{
    overwrite(m_download.body);
    overwrite(m_chunk);
}

QUrl Hop::nextHop() const
{
    return m_download.error.isEmpty() ? m_download.redirect : QUrl();
}

int Hop::status() const
{
    return m_reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

void Hop::readHeaders()
{
    // Nobody asked for a packed body, and there is no telling what it would unpack to.
    const QByteArray encoding = m_reply.rawHeader("Content-Encoding");
    const bool isPacked = !encoding.isEmpty() && encoding.compare("identity", Qt::CaseInsensitive) != 0;
    if (isPacked || m_reply.header(QNetworkRequest::ContentLengthHeader).toLongLong() > bodyBound())
        fail(kResponseBound);
    if (!isRedirect(status()) || !m_download.redirect.isEmpty() || !m_download.error.isEmpty())
        return;
    try {
        acceptRedirect();
    } catch (const std::exception& error) {
        fail(QString::fromUtf8(error.what()));
    }
}

void Hop::acceptRedirect()
{
    const QUrl target = m_reply.attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl();
    if (!m_rules.mayRedirect || target.isEmpty())
        throw std::runtime_error("HTTPS redirect refused");
    const QUrl next = parseHttpsUrl(m_reply.url().resolved(target).toString());
    if (!originAllowed(*m_budget, next))
        throw std::runtime_error("HTTPS origin refused");
    m_download.redirect = next;
    readBody();
    m_reply.abort();
}

void Hop::readBody()
{
    while (m_download.error.isEmpty() && m_reply.bytesAvailable() > 0) {
        const qint64 size = m_reply.read(m_chunk.data(), m_chunk.size());
        if (size <= 0)
            return;
        m_download.received += size;
        m_budget->received += size;
        QString error = exceededBound();
        if (error.isEmpty())
            error = passedDeadline();
        if (!error.isEmpty())
            fail(error);
        else if (!isRedirect(status()))
            keep(QByteArrayView(m_chunk).first(size));
    }
}

void Hop::keep(QByteArrayView bytes)
{
    if (m_download.file == nullptr)
        appendOwned(m_download.body, bytes);
    else if (m_download.file->write(bytes.data(), bytes.size()) != bytes.size())
        fail(u"Cannot write staged download"_s);
}

QString Hop::exceededBound() const
{
    if (m_download.received > bodyBound())
        return kResponseBound;
    if (m_budget->received > m_budget->limit)
        return u"HTTPS operation exceeds configured byte bound"_s;
    return {};
}

QString Hop::passedDeadline() const
{
    if (m_budget->deadline.hasExpired())
        return kOperationDeadline;
    if (m_download.deadline.hasExpired())
        return kRequestDeadline;
    return {};
}

void Hop::fail(const QString& error)
{
    if (m_download.error.isEmpty())
        m_download.error = error;
    m_reply.abort();
}

void Hop::end()
{
    if (m_download.error.isEmpty())
        m_download.error = passedDeadline();
    // Nobody but Qt's idle time-out is left to have cancelled the reply. It is as long as the shortest deadline, but
    // coarse: it may come first.
    const bool idle = m_reply.error() == QNetworkReply::OperationCanceledError && m_download.redirect.isEmpty();
    if (m_download.error.isEmpty() && idle)
        m_download.error = m_budget->deadline <= m_download.deadline ? kOperationDeadline : kRequestDeadline;
    readBody();
    Q_EMIT ended();
}

qint64 Hop::bodyBound() const
{
    return isSuccess(status()) ? m_rules.limit : kOtherBodyBytes;
}

} // namespace vok
