/// Counts what reaches an object.
#pragma once

#include <QEvent>
#include <QObject>

namespace vok::test_support
{

/// Counts the events of one type that reach `watched`, or any object where `watched` is the application.
class EventCounter : public QObject
{
public:
    EventCounter(QObject* watched, QEvent::Type type)
        : m_type(type)
    {
        watched->installEventFilter(this);
    }
    int count() const { return m_count; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        m_count += event->type() == m_type ? 1 : 0;
        return QObject::eventFilter(watched, event);
    }

private:
    QEvent::Type m_type;
    int m_count = 0;
};

} // namespace vok::test_support
