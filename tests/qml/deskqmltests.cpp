#include "oscemulatorbackend.h"
#include "recordingbackend.h"
#include "testtools.h"

#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickStyle>
#include <QtQuickTest>

// Runs the desk's QML tests with `backend` set: a RecordingBackend, or the real backend
// when OSC_QML_BACKEND is "real". The desk's documents are found at qrc:/.
class DeskTestSetup : public QObject
{
    Q_OBJECT
public slots:
    void applicationAvailable() { QQuickStyle::setStyle(QStringLiteral("Material")); }

    void qmlEngineAvailable(QQmlEngine *engine)
    {
        engine->addImportPath(QStringLiteral("qrc:/"));
        QQmlContext *context = engine->rootContext();
        if (qEnvironmentVariable("OSC_QML_BACKEND") == QLatin1String("real"))
            context->setContextProperty(QStringLiteral("backend"), new OscEmulatorBackend(engine));
        else
            context->setContextProperty(QStringLiteral("backend"), new RecordingBackend(engine));
        context->setContextProperty(QStringLiteral("examplesDir"), qEnvironmentVariable("OSC_EXAMPLES_DIR"));
        context->setContextProperty(QStringLiteral("testTools"), new TestTools(engine));
    }
};

QUICK_TEST_MAIN_WITH_SETUP(desk_qml, DeskTestSetup)

#include "deskqmltests.moc"
