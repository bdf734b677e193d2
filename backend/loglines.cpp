#include "loglines.h"

LogLines::LogLines(int maxLines, QObject *parent)
    : QAbstractListModel(parent)
    , m_maxLines(maxLines)
{
}

void LogLines::append(const QString &line)
{
    if (m_lines.size() >= m_maxLines) {
        beginRemoveRows(QModelIndex(), 0, 0);
        m_lines.removeFirst();
        endRemoveRows();
    }
    beginInsertRows(QModelIndex(), int(m_lines.size()), int(m_lines.size()));
    m_lines.append(line);
    endInsertRows();
    emit latestChanged();
}

void LogLines::clear()
{
    beginResetModel();
    m_lines.clear();
    endResetModel();
    emit latestChanged();
}

int LogLines::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_lines.size());
}

QVariant LogLines::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_lines.size() || (role != LineRole && role != Qt::DisplayRole))
        return {};
    return m_lines.at(index.row());
}

QHash<int, QByteArray> LogLines::roleNames() const
{
    return {{LineRole, "line"}};
}
