#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

#include <optional>

class LogLines;
class QFile;
namespace LogFormat {
struct Stamp;
}

// The levelled log: the lines the window shows (the newest 500), the same lines on the
// debug output, and the debug log file with its detail lines.
class EventLog : public QObject
{
    Q_OBJECT
public:
    // The file is `fileName`; none when it is empty; one per run in the working
    // directory when it is not given.
    explicit EventLog(const std::optional<QString> &fileName, QObject *parent = nullptr);
    ~EventLog() override;

    void add(const QString &message, QtMsgType level);
    // A detail line for the file only.
    void writeToFile(const QString &text);
    const QStringList &lines() const;
    // The same lines as a list model, for the window's log view.
    LogLines *model() const { return m_lines; }
    void clear();
    // The debug log file (empty when none is open).
    QString fileName() const;
    // Writes the file's end line and closes it; later lines reach the window only.
    void close();

signals:
    void linesChanged();

private:
    void open(const std::optional<QString> &fileName);
    void writeFileLine(const LogFormat::Stamp &stamp, const QString &text);

    LogLines *m_lines;
    QFile *m_file = nullptr; // unbuffered: each line is written when it is made
    QByteArray m_fileLine;   // the line being written, its storage kept
    bool m_writeFailed = false;
};
