#include "application.h"

#include "deskeditor.h"
#include "eventlog.h"
#include "loglines.h"
#include "oscdesk.h"
#include "oscemulatorbackend.h"
#include "oscmonitor.h"
#include "oscscenarios.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQmlContext>
#include <QQuickStyle>

int runOscEmulator(int argc, char *argv[], const QUrl &mainUrl)
{
    QGuiApplication app(argc, argv);
    QQuickStyle::setStyle(QStringLiteral("Material"));
    QQmlApplicationEngine engine;

    auto *backend = new OscEmulatorBackend(&app);
    engine.rootContext()->setContextProperty(QStringLiteral("backend"), backend);
    engine.rootContext()->setContextProperty(QStringLiteral("logLines"), backend->eventLog()->model());
    auto *monitor = new OscMonitor(backend->eventLog(), backend->sender(), &app);
    engine.rootContext()->setContextProperty(QStringLiteral("monitor"), monitor);
    engine.rootContext()->setContextProperty(QStringLiteral("scenarios"), new OscScenarios(backend->eventLog(), backend->sender(), backend->device(), monitor, &app));
    auto *desk = new OscDesk(&app);
    desk->follow(backend, monitor);
    engine.rootContext()->setContextProperty(QStringLiteral("desk"), desk);
    auto *editor = new DeskEditor(backend->fixtureStore(), desk, backend->eventLog(), &app);
    editor->follow(monitor);
    engine.rootContext()->setContextProperty(QStringLiteral("deskEditor"), editor);

    QObject::connect(
            &engine, &QQmlApplicationEngine::objectCreated, &app,
            [mainUrl](QObject *object, const QUrl &url) {
                if (!object && url == mainUrl)
                    QCoreApplication::exit(-1);
            },
            Qt::QueuedConnection);
    engine.load(mainUrl);

    return app.exec();
}
