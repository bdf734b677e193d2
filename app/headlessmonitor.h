#pragma once

#include "oscdecoder.h"

#include <QHostAddress>
#include <QObject>
#include <QTextStream>

class OscEmulatorPort;

// The monitor without a window: binds a UDP port and prints each OSC message heard, one
// line each on standard output (readable, or one JSON object per line), and each datagram
// that does not decode on standard error. Done after `count` messages (0: never).
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
    void handleDatagram(const QByteArray &datagram, const QHostAddress &sender, quint16 senderPort);

    OscEmulatorPort *m_socket;
    Osc::OscPacket m_packet;
    QTextStream m_out;
    QTextStream m_err;
    int m_left;
    bool m_json;
    QString m_bindError;
};
