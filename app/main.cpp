#include "application.h"
#include "commandline.h"

int main(int argc, char *argv[])
{
    if (const std::optional<int> headless = runCommandLine(argc, argv))
        return *headless;
    return runOscEmulator(argc, argv, QUrl(QStringLiteral("qrc:/main.qml"), QUrl::TolerantMode));
}
