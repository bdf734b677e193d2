#include "logformat.h"

#include <QStringEncoder>

namespace LogFormat {

namespace {

// Days since 1970-01-01 to a civil date (proleptic Gregorian).
void civilFromDays(qint64 days, int &year, int &month, int &day)
{
    days += 719468;
    const qint64 era = (days >= 0 ? days : days - 146096) / 146097;
    const qint64 dayOfEra = days - era * 146097;
    const qint64 yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const qint64 dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const qint64 mp = (5 * dayOfYear + 2) / 153;
    day = int(dayOfYear - (153 * mp + 2) / 5 + 1);
    month = int(mp < 10 ? mp + 3 : mp - 9);
    year = int(yearOfEra + era * 400 + (month <= 2 ? 1 : 0));
}

// Writes `value` in `width` decimal digits, zeros in front.
template<typename Char>
Char *putDigits(Char *out, int value, int width)
{
    for (int i = width - 1; i >= 0; --i) {
        out[i] = Char('0' + value % 10);
        value /= 10;
    }
    return out + width;
}

// "hh:mm:ss"
template<typename Char>
Char *putTime(Char *out, const Stamp &stamp)
{
    out = putDigits(out, stamp.hour, 2);
    *out++ = Char(':');
    out = putDigits(out, stamp.minute, 2);
    *out++ = Char(':');
    return putDigits(out, stamp.second, 2);
}

} // namespace

Stamp now()
{
    static qint64 cachedMinute = -1;
    static qint64 offsetMs = 0;
    const qint64 utcMs = QDateTime::currentMSecsSinceEpoch();
    const qint64 minute = utcMs / 60000;
    if (minute != cachedMinute) {
        cachedMinute = minute;
        offsetMs = qint64(QDateTime::fromMSecsSinceEpoch(utcMs).offsetFromUtc()) * 1000;
    }
    const qint64 localMs = utcMs + offsetMs;
    const qint64 days = localMs >= 0 ? localMs / 86400000 : (localMs - 86399999) / 86400000;
    const qint64 msOfDay = localMs - days * 86400000;
    Stamp stamp;
    civilFromDays(days, stamp.year, stamp.month, stamp.day);
    stamp.hour = int(msOfDay / 3600000);
    stamp.minute = int(msOfDay / 60000 % 60);
    stamp.second = int(msOfDay / 1000 % 60);
    stamp.millisecond = int(msOfDay % 1000);
    return stamp;
}

QString levelTag(QtMsgType level)
{
    switch (level) {
    case QtDebugMsg: return QStringLiteral("[DEBUG] ");
    case QtWarningMsg: return QStringLiteral("[WARNING] ");
    case QtCriticalMsg: return QStringLiteral("[CRITICAL] ");
    case QtFatalMsg: return QStringLiteral("[FATAL] ");
    case QtInfoMsg: return QStringLiteral("[INFO] ");
    }
    return QString();
}

QString memoryLine(const Stamp &stamp, QtMsgType level, const QString &message)
{
    // Appended, never arg(): the message is not scanned for placeholders.
    const QString tag = levelTag(level);
    char16_t time[12] = u"[hh:mm:ss] ";
    putTime(time + 1, stamp);
    QString line;
    line.reserve(11 + tag.size() + message.size());
    line.append(reinterpret_cast<const QChar *>(time), 11);
    line.append(tag);
    line.append(message);
    return line;
}

void putFileLine(QByteArray &line, const Stamp &stamp, const QString &text)
{
    constexpr qsizetype kStampSize = 26; // "[yyyy-MM-dd hh:mm:ss.zzz] "
    QStringEncoder utf8(QStringEncoder::Utf8);
    line.resize(kStampSize + utf8.requiredSpace(text.size()) + 1);
    char *out = line.data();
    *out++ = '[';
    out = putDigits(out, stamp.year, 4);
    *out++ = '-';
    out = putDigits(out, stamp.month, 2);
    *out++ = '-';
    out = putDigits(out, stamp.day, 2);
    *out++ = ' ';
    out = putTime(out, stamp);
    *out++ = '.';
    out = putDigits(out, stamp.millisecond, 3);
    *out++ = ']';
    *out++ = ' ';
    out = utf8.appendToBuffer(out, text);
    *out++ = '\n';
    line.truncate(out - line.constData());
}

QString debugLogFileName(const QDateTime &start, int attempt)
{
    QString name = QStringLiteral("osc_emulator_debug_") + start.toString(QStringLiteral("yyyyMMdd_hhmmss"));
    if (attempt > 1)
        name += QLatin1Char('_') + QString::number(attempt);
    return name + QStringLiteral(".log");
}

void appendHexDigits(QString &out, const QByteArray &data, int maxDigits)
{
    static const char digits[] = "0123456789abcdef";
    const qsizetype count = qMin(data.size() * 2, qsizetype(qMax(maxDigits, 0)));
    const qsizetype start = out.size();
    out.resize(start + count);
    char16_t *hex = reinterpret_cast<char16_t *>(out.data()) + start;
    const auto *bytes = reinterpret_cast<const quint8 *>(data.constData());
    for (qsizetype i = 0; i < count / 2; ++i) {
        hex[2 * i] = char16_t(digits[bytes[i] >> 4]);
        hex[2 * i + 1] = char16_t(digits[bytes[i] & 0xf]);
    }
    // An odd cut ends on a byte's first digit.
    if (count % 2 != 0)
        hex[count - 1] = char16_t(digits[bytes[count / 2] >> 4]);
}

QString hexDigits(const QByteArray &data, int maxDigits)
{
    QString hex;
    appendHexDigits(hex, data, maxDigits);
    return hex;
}

} // namespace LogFormat
