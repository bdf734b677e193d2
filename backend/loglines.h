#pragma once

#include <QAbstractListModel>
#include <QStringList>

// The log's lines as the window's log view reads them, oldest first: new lines are rows
// inserted at the end and, at the bound, the oldest rows removed, so that the view moves
// its rows instead of building them all again. The rows follow the lines once per pass of
// the event loop, however many lines came meanwhile: a flood of lines is one insertion
// and one removal. Published to QML as `logLines`.
class LogLines : public QAbstractListModel
{
    Q_OBJECT
    // The newest line, or "" when there is none; at once, not with the rows.
    Q_PROPERTY(QString latest READ latest NOTIFY latestChanged)

public:
    enum Role {
        LineRole = Qt::UserRole + 1,
    };

    explicit LogLines(int maxLines, QObject *parent = nullptr);

    // The lines, at once (the rows follow).
    const QStringList &lines() const { return m_lines; }
    QString latest() const { return m_lines.isEmpty() ? QString() : m_lines.last(); }
    // Appends `line`; beyond the bound the oldest goes first.
    void append(const QString &line);
    void clear();
    // A row's line ("" for a row that does not exist): for copying the selected one.
    Q_INVOKABLE QString line(int row) const { return m_rows.value(row); }

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

signals:
    void latestChanged();

private:
    void scheduleUpdate();
    // Brings the rows up to the lines.
    void updateRows();

    const int m_maxLines;
    QStringList m_lines;
    QStringList m_rows;       // the lines as the rows last announced them
    qsizetype m_dropped = 0;  // oldest lines gone since then
    bool m_cleared = false;   // cleared since then
    bool m_updatePending = false;
};
