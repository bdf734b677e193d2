#include "application.h"

int main(int argc, char *argv[])
{
    return runOscEmulator(argc, argv, QUrl(QStringLiteral("qrc:/main.qml"), QUrl::TolerantMode));
}
