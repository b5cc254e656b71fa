/// A reply of the network that does what a test wants, at the moment that it wants.
#pragma once

#include <QNetworkReply>
#include <QPointer>

#include <algorithm>

namespace vok::test_support
{

class FakeReply : public QNetworkReply
{
public:
    FakeReply() { open(QIODevice::ReadOnly | QIODevice::Unbuffered); }

    using QNetworkReply::setHeader;
    using QNetworkReply::setUrl;

    void setStatus(int status) { setAttribute(QNetworkRequest::HttpStatusCodeAttribute, status); }

    /// The head of an answer has arrived.
    void beginAnswer(int status, const QUrl& target = {})
    {
        setStatus(status);
        if (!target.isEmpty())
            setAttribute(QNetworkRequest::RedirectionTargetAttribute, target);
        Q_EMIT metaDataChanged();
    }

    /// More of the body has arrived.
    void deliver(const QByteArray& arrived)
    {
        bytes += arrived;
        Q_EMIT readyRead();
    }

    /// The answer is complete.
    void finish()
    {
        setFinished(true);
        Q_EMIT finished();
    }

    /// As the network's own replies do it: finished comes at once.
    void abort() override
    {
        ++aborts;
        if (isFinished())
            return;
        setError(QNetworkReply::OperationCanceledError, QStringLiteral("Operation canceled"));
        finish();
    }

    qint64 bytesAvailable() const override { return bytes.size(); }
    bool isSequential() const override { return true; }

    QByteArray bytes; ///< arrived and not read yet
    qint64 largestRead = 0;
    int aborts = 0;

protected:
    qint64 readData(char* data, qint64 most) override
    {
        largestRead = std::max(largestRead, most);
        const qint64 size = std::min<qint64>(most, bytes.size());
        std::copy_n(bytes.cbegin(), size, data);
        bytes.remove(0, size);
        return size;
    }
};

} // namespace vok::test_support
