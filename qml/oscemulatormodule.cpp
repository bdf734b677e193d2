#include <QQmlModuleRegistration>
#include <qqml.h>

// The module carries documents only, no C++ types: the backend reaches QML as a
// context property. Announced at start-up, registered when first imported.
void qml_register_types_OscEmulator()
{
    qmlRegisterModule("OscEmulator", 1, 0);
}

static const QQmlModuleRegistration oscEmulatorModuleRegistration("OscEmulator", qml_register_types_OscEmulator);
