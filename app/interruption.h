#pragma once

#include <QObject>

// SIGINT and SIGTERM as a Qt signal, delivered by the event loop. The first is caught;
// after it the system's default action is back, so a second Ctrl-C ends the process.
class Interruption : public QObject
{
    Q_OBJECT
public:
    explicit Interruption(QObject *parent = nullptr);

signals:
    void requested();
};
