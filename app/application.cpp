#include "application.h"

#include "oscemulatorbackend.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQmlContext>
#include <QQmlModuleRegistration>
#include <QQuickStyle>
#include <qqml.h>

void qml_register_types_OscEmulator()
{
    // The module carries documents only: no C++ types. The backend reaches QML as a
    // context property.
    qmlRegisterModule("OscEmulator", 1, 0);
}

static const QQmlModuleRegistration oscEmulatorModuleRegistration("OscEmulator", qml_register_types_OscEmulator);

int runOscEmulator(int argc, char *argv[], const QUrl &mainUrl)
{
    QGuiApplication app(argc, argv);
    QQuickStyle::setStyle(QStringLiteral("Material"));
    QQmlApplicationEngine engine;

    auto *backend = new OscEmulatorBackend(&app);
    engine.rootContext()->setContextProperty(QStringLiteral("backend"), backend);

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
