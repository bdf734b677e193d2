#include "application.h"

#include <QQuickStyle>
#include <QTemporaryDir>
#include <QTest>

// The program's entry: its exit codes, and the style it sets.
class TestApplication : public QObject
{
    Q_OBJECT
private slots:
    void exitCodes_data();
    void exitCodes();
};

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
    QCOMPARE(QQuickStyle::name(), QStringLiteral("Material"));
}

QTEST_APPLESS_MAIN(TestApplication)
#include "tst_application.moc"
