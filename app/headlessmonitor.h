#pragma once

#include "eventlog.h"
#include "oscmonitor.h"

#include <QObject>
#include <QTextStream>

// The monitor without a window: the window's monitor on a UDP port, printing each OSC
// message it hears, one line each on standard output (readable, or one JSON object per
// line), and each datagram that does not decode on standard error. Done after `count`
// messages (0: never).
class HeadlessMonitor : public QObject
{
    Q_OBJECT
public:
    HeadlessMonitor(int count, bool json, QObject *parent = nullptr);

    // Binds the port; false with the reason in *error.
    bool listen(quint16 port, QString *error);

signals:
    void done();

private:
    void print(const HeardDatagram &heard);

    EventLog m_log;
    OscMonitor m_monitor;
    QTextStream m_out;
    QTextStream m_err;
    int m_left;
    bool m_json;
};
