#include "application.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

// The program's entry: exit codes and the resources that carry the documents.
class TestApplication : public QObject
{
    Q_OBJECT
private slots:
    void exitCodes_data();
    void exitCodes();
    void resources();
};

void TestApplication::exitCodes_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<int>("exitCode");
    QTest::newRow("broken document") << QByteArray("import QtQuick\nItem { this is not QML }\n") << -1;
    QTest::newRow("missing module") << QByteArray("import NoSuchModule\nItem {}\n") << -1;
    QTest::newRow("window closed") << QByteArray(
            "import QtQuick\nimport QtQuick.Controls\n"
            "ApplicationWindow { id: w; visible: true\n"
            "  property bool ready: backend.statusMessage === 'Ready'\n"
            "  Timer { interval: 10; running: true; onTriggered: w.close() } }\n") << 0;
}

void TestApplication::exitCodes()
{
    QFETCH(QByteArray, document);
    QFETCH(int, exitCode);
    QTemporaryDir dir;
    QFile file(dir.filePath("main.qml"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(document);
    file.close();

    char name[] = "tst_application";
    char *argv[] = {name, nullptr};
    if (exitCode != 0)
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("main.qml"));
    QCOMPARE(runOscEmulator(1, argv, QUrl::fromLocalFile(file.fileName())), exitCode);
}

void TestApplication::resources()
{
    QFile qmldir(":/OscEmulator/qmldir");
    QVERIFY(qmldir.open(QIODevice::ReadOnly));
    QCOMPARE(qmldir.readAll(), QByteArray("module OscEmulator\r\ntypeinfo OscEmulator.qmltypes\r\n"
                                          "prefer :/OscEmulator/\r\ndepends QtQuick\r\n\r\n"));
    QFile rootMain(":/main.qml");
    QFile moduleMain(":/OscEmulator/main.qml");
    QVERIFY(rootMain.open(QIODevice::ReadOnly));
    QVERIFY(moduleMain.open(QIODevice::ReadOnly));
    QCOMPARE(rootMain.readAll(), moduleMain.readAll());
}

QTEST_APPLESS_MAIN(TestApplication)
#include "tst_application.moc"
