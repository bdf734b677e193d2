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

static QByteArray readResource(const QString &name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("missing");
}

void TestApplication::exitCodes_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<int>("exitCode");
    QTest::newRow("broken document") << QByteArray("import QtQuick\nItem { this is not QML }\n") << -1;
    QTest::newRow("window closed") << QByteArray("import QtQuick\nimport QtQuick.Controls\n"
                                                 "ApplicationWindow { id: w; visible: true\n"
                                                 "  Timer { interval: 10; running: true; onTriggered: typeof backend"
                                                 " !== 'undefined' && backend.statusMessage === 'Ready'"
                                                 " ? w.close() : Qt.exit(3) } }\n")
                                   << 0;
}

void TestApplication::exitCodes()
{
    QFETCH(QByteArray, document);
    QFETCH(int, exitCode);
    QTemporaryDir dir;
    QFile file(dir.filePath("main.qml"));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(document) == document.size());
    file.close();

    char name[] = "tst_application";
    char *argv[] = {name, nullptr};
    if (exitCode != 0)
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("main.qml"));
    QCOMPARE(runOscEmulator(1, argv, QUrl::fromLocalFile(file.fileName())), exitCode);
}

void TestApplication::resources()
{
    QCOMPARE(readResource(":/OscEmulator/qmldir"), QByteArray("module OscEmulator\r\ntypeinfo OscEmulator.qmltypes\r\n"
                                                              "prefer :/OscEmulator/\r\ndepends QtQuick\r\n\r\n"));
    QCOMPARE(readResource(":/OscEmulator/main.qml"), readResource(":/main.qml"));
    QVERIFY(readResource(":/main.qml") != "missing");
}

QTEST_APPLESS_MAIN(TestApplication)
#include "tst_application.moc"
