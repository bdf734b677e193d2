#include "loglines.h"

#include <QMetaObject>

#include <utility>

LogLines::LogLines(int maxLines, QObject *parent)
    : QAbstractListModel(parent)
    , m_maxLines(maxLines)
{
}

void LogLines::append(const QString &line)
{
    if (m_lines.size() >= m_maxLines) {
        m_lines.removeFirst();
        ++m_dropped;
    }
    m_lines.append(line);
    scheduleUpdate();
    emit latestChanged();
}

void LogLines::clear()
{
    m_lines.clear();
    m_cleared = true;
    m_dropped = 0;
    scheduleUpdate();
    emit latestChanged();
}

void LogLines::scheduleUpdate()
{
    if (m_updatePending)
        return;
    m_updatePending = true;
    QMetaObject::invokeMethod(this, &LogLines::updateRows, Qt::QueuedConnection);
}

void LogLines::updateRows()
{
    m_updatePending = false;
    if (std::exchange(m_cleared, false)) {
        m_dropped = 0;
        beginResetModel();
        m_rows = m_lines;
        endResetModel();
        return;
    }
    // What is left of the rows is the lines' beginning: the new lines follow it.
    const qsizetype gone = qMin(std::exchange(m_dropped, 0), m_rows.size());
    if (gone > 0) {
        beginRemoveRows(QModelIndex(), 0, int(gone - 1));
        m_rows.remove(0, gone);
        endRemoveRows();
    }
    if (m_lines.size() > m_rows.size()) {
        beginInsertRows(QModelIndex(), int(m_rows.size()), int(m_lines.size() - 1));
        m_rows = m_lines;
        endInsertRows();
    }
}

int LogLines::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant LogLines::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size() || (role != LineRole && role != Qt::DisplayRole))
        return {};
    return m_rows.at(index.row());
}

QHash<int, QByteArray> LogLines::roleNames() const
{
    return {{LineRole, "line"}};
}
