/// One HTTPS request and its answer, over a connection of its own.
#pragma once

#include "network/answer_parser.h"

#include <QNetworkReply>
#include <QSslSocket>
#include <QTimer>

namespace vok
{

/// Reads no further than its own buffer of 64 KiB while nobody takes what it holds.
class HttpsReply : public QNetworkReply
{
    Q_OBJECT

public:
    HttpsReply(
        QNetworkAccessManager::Operation operation, const QNetworkRequest& request, QByteArray body, QObject* parent);

    void abort() override;
    qint64 bytesAvailable() const override;
    bool isSequential() const override { return true; }

protected:
    qint64 readData(char* data, qint64 maxSize) override;

private:
    void sendRequest(const QByteArray& body);
    void receive();
    void endConnection();
    bool takePiece();
    qsizetype feedInput();
    void publishHead();
    void finishAnswer();
    void fail(NetworkError error, const QString& text);
    void finishAs(NetworkError error, const QString& text);
    void socketFailed(QAbstractSocket::SocketError error);

    const QByteArray m_method;
    QSslSocket m_socket;
    QTimer m_idle;
    AnswerParser m_parser;
    QByteArray m_input; ///< read from the connection and not parsed yet
    QByteArray m_body;  ///< parsed and not read yet
    bool m_isHeadPublished = false;
    bool m_isClosed = false; ///< by the server
};

} // namespace vok
