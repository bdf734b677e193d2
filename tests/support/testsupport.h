#pragma once

#include "oscemulatorbackend.h"

#include <QFile>
#include <QUdpSocket>

// Small helpers shared by the C++ tests.
namespace TestSupport {

inline QByteArray readBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline bool writeBytes(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

inline QStringList fileLines(const QString &path)
{
    return QString::fromUtf8(readBytes(path)).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

// The backend's log lines from index `from` on, without their "[hh:mm:ss] " stamp.
inline QStringList logLines(const OscEmulatorBackend &backend, int from = 0)
{
    QStringList lines = backend.logMessages().mid(from);
    for (QString &line : lines)
        line.remove(0, 11);
    return lines;
}

// A loopback UDP port that nobody listens on: bound once, then released; 0 when the
// address cannot be bound.
inline quint16 closedPort(const QHostAddress &address = QHostAddress::LocalHost)
{
    QUdpSocket probe;
    return probe.bind(address, 0) ? probe.localPort() : 0;
}

// The send operation that the arguments fit: three numbers for sendOscChannel, two
// values for sendOscToAddress, else address, tags and values for sendOscTyped.
inline void call(OscEmulatorBackend &backend, const QVariantList &a)
{
    if (a.size() == 3 && a.at(0).typeId() == QMetaType::Int)
        backend.sendOscChannel(a.at(0).toInt(), a.at(1).toInt(), a.at(2).toInt());
    else if (a.size() == 2)
        backend.sendOscToAddress(a.at(0).toString(), a.at(1).toInt());
    else
        backend.sendOscTyped(a.at(0).toString(), a.at(1).toString(), a.value(2).toList());
}

const QString kExample = qEnvironmentVariable("OSC_EXAMPLES_DIR") + QStringLiteral("/osc_fixtures.json");

} // namespace TestSupport
