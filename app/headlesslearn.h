#pragma once

#include "deskeditor.h"
#include "eventlog.h"
#include "fixturestore.h"
#include "oscmonitor.h"

#include <QSaveFile>

// Learning without a window: the monitor on a UDP port, every address heard for the
// first time learned as the window's "Aprender" learns it, and the fixtures file that
// makes written at the end. Refused messages are one line each on standard error.
class HeadlessLearn
{
public:
    HeadlessLearn();

    // Opens the output and binds the port; false with the reason in *error.
    bool open(const QString &outFile, quint16 port, QString *error);
    // Writes the file; false with the reason in *error. *learned: the controls learned.
    bool finish(int *learned, QString *error);

private:
    EventLog m_log;
    FixtureStore m_store;
    OscMonitor m_monitor;
    DeskEditor m_editor;
    QSaveFile m_out;
};
