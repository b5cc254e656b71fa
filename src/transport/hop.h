/// One hop of an HTTPS operation, written for a server that wishes us harm.
#pragma once

#include "transport/transfer.h"

#include <QObject>
#include <QTimer>

#include <chrono>

class QNetworkReply;

namespace vok
{

struct HopRules
{
    qint64 limit = 0;                  ///< most body bytes of a 2xx answer; any other gets 65536
    bool mayRedirect = false;          ///< whether a redirect may be followed
    std::chrono::milliseconds time{0}; ///< wall time of this hop
};

/// Takes the bytes of a reply within the bounds of its rules and of the operation's budget, and reports once, after
/// everything is over. Ends with its reply, which it is a child of.
class Hop : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Hop)

public:
    /// `file`: open staging file that takes the body; null: the body is kept in memory.
    Hop(QNetworkReply& reply, const HopRules& rules, std::shared_ptr<TransferBudget> budget,
        std::unique_ptr<QSaveFile> file);

    /// Overwrites the body: it may hold a session.
    ~Hop() override;

    QNetworkReply& reply() const { return m_reply; }
    Download& download() { return m_download; }

    /// Where an accepted redirect leads; empty where there is none, or an error came after it.
    QUrl nextHop() const;

    /// HTTP status of the answer; 0 where there is none.
    int status() const;

Q_SIGNALS:
    /// The exchange is over and its Download complete. Never emitted within a call of the reply's own code.
    void ended();

private:
    void readHeaders();
    void acceptRedirect();
    void readBody();
    void keep(QByteArrayView bytes);
    QString exceededBound() const;
    QString passedDeadline() const;
    void fail(const QString& error);
    void end();

    qint64 bodyBound() const;

    QNetworkReply& m_reply;
    const HopRules m_rules;
    const std::shared_ptr<TransferBudget> m_budget;
    Download m_download;
    QByteArray m_chunk;
    QTimer m_timer;
};

} // namespace vok
