#pragma once

#include <QObject>
#include <QStringList>

// What a QML test cannot do on its own: run another program, and read and write files
// in the test's configuration folder.
class TestTools : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString configFolder READ configFolder CONSTANT)

public:
    using QObject::QObject;

    QString configFolder() const;

    // Runs a program to its end; returns its exit code, or -1 when it could not run.
    Q_INVOKABLE int run(const QString &program, const QStringList &arguments) const;
    Q_INVOKABLE bool isInstalled(const QString &program) const;
    Q_INVOKABLE bool copyFile(const QString &from, const QString &to) const;
    Q_INVOKABLE bool writeFile(const QString &path, const QString &text) const;
    Q_INVOKABLE bool removeFile(const QString &path) const;
};
