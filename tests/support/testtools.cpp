#include "testtools.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

QString TestTools::configFolder() const
{
    return QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
}

int TestTools::run(const QString &program, const QStringList &arguments) const
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(10000))
        return -1;
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

bool TestTools::isInstalled(const QString &program) const
{
    return !QStandardPaths::findExecutable(program).isEmpty();
}

bool TestTools::copyFile(const QString &from, const QString &to) const
{
    QDir().mkpath(QFileInfo(to).absolutePath());
    QFile::remove(to);
    return QFile::copy(from, to);
}

bool TestTools::writeFile(const QString &path, const QString &text) const
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(text.toUtf8()) >= 0;
}

bool TestTools::removeFile(const QString &path) const
{
    return !QFile::exists(path) || QFile::remove(path);
}
