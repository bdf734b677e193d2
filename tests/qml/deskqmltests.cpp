#include "deskeditor.h"
#include "eventlog.h"
#include "loglines.h"
#include "oscdesk.h"
#include "oscemulatorbackend.h"
#include "oscmonitor.h"
#include "oscscenarios.h"
#include "recordingbackend.h"
#include "testtools.h"

#include <QJsonArray>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickStyle>
#include <QtQuickTest>

// Runs the desk's QML tests with `backend` set: a RecordingBackend, or the real backend
// when OSC_QML_BACKEND is "real"; `desk` follows either. The desk's documents are found
// at qrc:/.
class DeskTestSetup : public QObject
{
    Q_OBJECT
public slots:
    void applicationAvailable() { QQuickStyle::setStyle(QStringLiteral("Material")); }

    void qmlEngineAvailable(QQmlEngine *engine)
    {
        engine->addImportPath(QStringLiteral("qrc:/"));
        QQmlContext *context = engine->rootContext();
        auto *desk = new OscDesk(engine);
        context->setContextProperty(QStringLiteral("desk"), desk);
        if (qEnvironmentVariable("OSC_QML_BACKEND") == QLatin1String("real")) {
            auto *backend = new OscEmulatorBackend(engine);
            auto *monitor = new OscMonitor(backend->eventLog(), backend->sender(), engine);
            desk->follow(backend, monitor);
            auto *editor = new DeskEditor(backend->fixtureStore(), desk, backend->eventLog(), engine);
            editor->follow(monitor);
            context->setContextProperty(QStringLiteral("deskEditor"), editor);
            context->setContextProperty(QStringLiteral("backend"), backend);
            context->setContextProperty(QStringLiteral("logLines"), backend->eventLog()->model());
            context->setContextProperty(QStringLiteral("monitor"), monitor);
            context->setContextProperty(QStringLiteral("scenarios"), new OscScenarios(backend->eventLog(), backend->sender(), backend->device(), monitor, engine));
        } else {
            auto *backend = new RecordingBackend(engine);
            QObject::connect(backend, &RecordingBackend::fixturesChanged, desk,
                             [=] { desk->setFixtures(QJsonArray::fromVariantList(backend->fixtures())); });
            context->setContextProperty(QStringLiteral("backend"), backend);
            context->setContextProperty(QStringLiteral("logLines"), nullptr);
            context->setContextProperty(QStringLiteral("monitor"), nullptr);
            context->setContextProperty(QStringLiteral("deskEditor"), nullptr);
            context->setContextProperty(QStringLiteral("scenarios"), nullptr);
        }
        context->setContextProperty(QStringLiteral("examplesDir"), qEnvironmentVariable("OSC_EXAMPLES_DIR"));
        context->setContextProperty(QStringLiteral("testTools"), new TestTools(engine));
    }
};

QUICK_TEST_MAIN_WITH_SETUP(desk_qml, DeskTestSetup)

#include "deskqmltests.moc"
