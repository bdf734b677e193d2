#pragma once

#include <QAbstractListModel>
#include <QStringList>

// The log's lines as the window's log view reads them, oldest first: a new line is one row
// inserted and, at the bound, the oldest one row removed, so that the view moves its rows
// instead of building them all again. Published to QML as `logLines`.
class LogLines : public QAbstractListModel
{
    Q_OBJECT
    // The newest line, or "" when there is none.
    Q_PROPERTY(QString latest READ latest NOTIFY latestChanged)

public:
    enum Role {
        LineRole = Qt::UserRole + 1,
    };

    explicit LogLines(int maxLines, QObject *parent = nullptr);

    const QStringList &lines() const { return m_lines; }
    QString latest() const { return m_lines.isEmpty() ? QString() : m_lines.last(); }
    // Appends `line`; beyond the bound the oldest goes first.
    void append(const QString &line);
    void clear();
    // A row's line ("" for a row that does not exist): for copying the selected one.
    Q_INVOKABLE QString line(int row) const { return m_lines.value(row); }

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

signals:
    void latestChanged();

private:
    const int m_maxLines;
    QStringList m_lines;
};
