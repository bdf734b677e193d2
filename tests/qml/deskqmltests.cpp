#include "oscdumpprocess.h"
#include "oscemulatorbackend.h"
#include "oscmonitor.h"
#include "oscscenarios.h"
#include "recordingbackend.h"
#include "testtools.h"

#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickStyle>
#include <QtQuickTest>

// Runs the desk's QML tests with `backend` set: a RecordingBackend, or the real backend and its monitor
// when OSC_QML_BACKEND is "real". The desk's documents are found at qrc:/.
class DeskTestSetup : public QObject
{
    Q_OBJECT
public slots:
    void applicationAvailable()
    {
        QQuickStyle::setStyle(QStringLiteral("Material"));
    }

    void qmlEngineAvailable(QQmlEngine *engine)
    {
        engine->addImportPath(QStringLiteral("qrc:/"));
        QObject *backend = nullptr;
        QObject *monitor = nullptr;
        QObject *scenarios = nullptr;
        if (qEnvironmentVariable("OSC_QML_BACKEND") == QLatin1String("real")) {
            auto *real = new OscEmulatorBackend(engine);
            auto *listener = new OscMonitor(real, engine);
            backend = real;
            monitor = listener;
            scenarios = new OscScenarios(real, listener, engine);
        } else {
            backend = new RecordingBackend(engine);
        }
        QQmlContext *context = engine->rootContext();
        context->setContextProperty(QStringLiteral("backend"), backend);
        context->setContextProperty(QStringLiteral("monitor"), monitor);
        context->setContextProperty(QStringLiteral("scenarios"), scenarios);
        context->setContextProperty(QStringLiteral("oscdump"), new OscDumpProcess(engine));
        context->setContextProperty(QStringLiteral("examplesDir"), qEnvironmentVariable("OSC_EXAMPLES_DIR"));
        context->setContextProperty(QStringLiteral("testTools"), new TestTools(engine));
    }
};

QUICK_TEST_MAIN_WITH_SETUP(desk_qml, DeskTestSetup)

#include "deskqmltests.moc"
