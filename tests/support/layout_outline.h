/// A layout written down as one line, so that a test can compare order, captions and stretches whole.
#pragma once

#include <QAbstractButton>
#include <QBoxLayout>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>

namespace vok::test_support
{

QString outlineOf(const QLayout& layout);

namespace outline_detail
{

inline QString quoted(const QString& text)
{
    return u'"' + text + u'"';
}

/// Object name and caption, whichever there are; a group box with what stands in it.
inline QString widgetOutline(const QWidget& widget)
{
    if (const auto* group = qobject_cast<const QGroupBox*>(&widget))
        return quoted(group->title()) + u' ' + outlineOf(*group->layout());
    QStringList words;
    if (!widget.objectName().isEmpty())
        words.append(widget.objectName());
    const auto* button = qobject_cast<const QAbstractButton*>(&widget);
    const auto* label = qobject_cast<const QLabel*>(&widget);
    if (button != nullptr && !button->text().isEmpty())
        words.append(quoted(button->text()));
    if (label != nullptr)
        words.append(quoted(label->text()));
    return words.join(u' ');
}

inline QString itemOutline(QLayoutItem& item)
{
    if (item.widget() != nullptr)
        return widgetOutline(*item.widget());
    if (item.layout() != nullptr)
        return outlineOf(*item.layout());
    return item.expandingDirections() ? QStringLiteral("stretch") : QStringLiteral("gap");
}

inline QString boxOutline(const QBoxLayout& box)
{
    const bool isRow = box.direction() == QBoxLayout::LeftToRight;
    QStringList items;
    for (int index = 0; index < box.count(); ++index) {
        const int stretch = box.stretch(index);
        items.append(itemOutline(*box.itemAt(index)) + (stretch == 0 ? QString() : u'*' + QString::number(stretch)));
    }
    return (isRow ? QStringLiteral("row(") : QStringLiteral("column(")) + items.join(QStringLiteral(", ")) + u')';
}

inline QString formOutline(const QFormLayout& form)
{
    QStringList rows;
    for (int row = 0; row < form.rowCount(); ++row) {
        QString line;
        for (const auto role : {QFormLayout::LabelRole, QFormLayout::FieldRole}) {
            QLayoutItem* item = form.itemAt(row, role);
            if (item == nullptr)
                continue;
            const QString separator = line.isEmpty() ? QString() : QStringLiteral(": ");
            line += separator + itemOutline(*item);
        }
        rows.append(line);
    }
    return QStringLiteral("form(") + rows.join(QStringLiteral(", ")) + u')';
}

} // namespace outline_detail

/// Each item of `layout` in its order with object name and caption, "*n" behind a stretch of n.
inline QString outlineOf(const QLayout& layout)
{
    if (const auto* form = qobject_cast<const QFormLayout*>(&layout))
        return outline_detail::formOutline(*form);
    return outline_detail::boxOutline(*qobject_cast<const QBoxLayout*>(&layout));
}

} // namespace vok::test_support
