#include "monitorrows.h"

#include "oscformat.h"
#include "oscpattern.h"

#include <QDateTime>

MonitorRows::MonitorRows(QObject *parent)
    : QAbstractListModel(parent)
{
}

qsizetype MonitorRows::bytesOf(const Row &row)
{
    // A bundle's messages share their datagram: it is counted with the first.
    return row.message <= 0 ? row.datagram.size() : 0;
}

void MonitorRows::add(qint64 msecsSinceEpoch, bool sent, const QString &peer, const QByteArray &datagram,
                      const Osc::OscPacket &packet, const Osc::OscDecodeError *error)
{
    const quint64 serial = m_nextSerial++;
    const auto push = [&](qint32 message) {
        m_waiting.push_back(Row{msecsSinceEpoch, serial, datagram, peer, message, sent});
        m_waitingBytes += bytesOf(m_waiting.back());
    };
    // The whole messages before a fault are rows of their own; the fault is the last row.
    for (qint32 i = 0; i < packet.messages.size(); ++i)
        push(i);
    if (error)
        push(-1);
    if (qsizetype(m_waiting.size()) > kMaxRows || m_waitingBytes > kMaxBytes) {
        qsizetype excess = qsizetype(m_waiting.size()) - kMaxRows;
        dropOldest(m_waiting, m_waitingBytes, qMax<qsizetype>(excess, 0));
    }
}

void MonitorRows::dropOldest(std::deque<Row> &rows, qsizetype &bytes, qsizetype count)
{
    while (!rows.empty() && (count > 0 || bytes > kMaxBytes)) {
        bytes -= bytesOf(rows.front());
        rows.pop_front();
        ++m_dropped;
        --count;
    }
}

void MonitorRows::flush()
{
    if (m_waiting.empty())
        return;
    const qsizetype incoming = qsizetype(m_waiting.size());
    const qsizetype shown = qsizetype(m_rows.size());
    // What the rows waiting would push out, taken off first.
    qsizetype excess = shown + incoming - kMaxRows;
    qsizetype bytesAfter = m_bytes + m_waitingBytes;
    qsizetype remove = 0;
    while (remove < shown && (remove < excess || bytesAfter > kMaxBytes)) {
        bytesAfter -= bytesOf(m_rows[size_t(remove)]);
        ++remove;
    }
    if (remove > 0) {
        beginRemoveRows(QModelIndex(), 0, int(remove - 1));
        m_rows.erase(m_rows.begin(), m_rows.begin() + remove);
        m_bytes = bytesAfter - m_waitingBytes;
        m_dropped += int(remove);
        endRemoveRows();
    }
    beginInsertRows(QModelIndex(), int(m_rows.size()), int(m_rows.size() + incoming - 1));
    m_rows.insert(m_rows.end(), std::make_move_iterator(m_waiting.begin()), std::make_move_iterator(m_waiting.end()));
    m_bytes += m_waitingBytes;
    m_waiting.clear();
    m_waitingBytes = 0;
    endInsertRows();
}

void MonitorRows::clear()
{
    beginResetModel();
    m_rows.clear();
    m_waiting.clear();
    m_bytes = 0;
    m_waitingBytes = 0;
    m_dropped = 0;
    m_cachedSerial = 0;
    endResetModel();
}

const Osc::OscPacket &MonitorRows::decoded(const Row &row) const
{
    if (m_cachedSerial != row.serial) {
        m_cachedError = {};
        Osc::decodeOscPacket(row.datagram, &m_cached, &m_cachedError);
        m_cachedSerial = row.serial;
    }
    return m_cached;
}

int MonitorRows::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant MonitorRows::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= int(m_rows.size()))
        return {};
    const Row &row = m_rows[size_t(index.row())];
    switch (role) {
    case TimeRole:
        return QDateTime::fromMSecsSinceEpoch(row.msecs).toString(QStringLiteral("hh:mm:ss.zzz"));
    case DeltaRole:
        return index.row() == 0 ? QString()
                                : QStringLiteral("+%1 ms").arg(row.msecs - m_rows[size_t(index.row() - 1)].msecs);
    case SentRole:
        return row.sent;
    case PeerRole:
        return row.peer;
    case HexRole:
        return QString::fromLatin1(row.datagram.toHex());
    case LineRole:
        return line(index);
    default:
        break;
    }
    const Osc::OscPacket &packet = decoded(row);
    if (row.message < 0 || row.message >= packet.messages.size()) {
        if (role == ErrorRole)
            return QStringLiteral("%1 (at byte %2)").arg(m_cachedError.reason).arg(m_cachedError.offset);
        return QString();
    }
    const Osc::OscDecodedMessage &message = packet.messages[row.message];
    switch (role) {
    case AddressRole:
        return Osc::escapeOscText(packet.addressBytes(message));
    case TagsRole:
        return QLatin1Char(',') + packet.typeTags(message);
    case ValuesRole: {
        QStringList values;
        for (int i = 0; i < message.argumentCount; ++i) {
            const Osc::OscField &argument = packet.argument(message, i);
            values.append(Osc::formatOscArgument(argument.tag, packet.bytes(argument)));
        }
        return values.join(QLatin1Char(' '));
    }
    case BundleRole:
        return message.inBundle ? Osc::formatOscTimeTag(message.bundleTimeTag) : QString();
    default:
        return QString();
    }
}

// "12:00:00.250 RX 127.0.0.1:9000 /a ,i 7  [bundle immediately]  +12 ms", or for a
// datagram that does not decode, why and where in place of the message.
QString MonitorRows::line(const QModelIndex &index) const
{
    const auto text = [&](Role role) { return data(index, role).toString(); };
    QString line = text(TimeRole) + (data(index, SentRole).toBool() ? QLatin1String(" TX ") : QLatin1String(" RX "))
            + text(PeerRole) + QLatin1Char(' ');
    const QString error = text(ErrorRole);
    if (!error.isEmpty()) {
        line += error;
    } else {
        line += text(AddressRole) + QLatin1Char(' ') + text(TagsRole);
        if (const QString values = text(ValuesRole); !values.isEmpty())
            line += QLatin1Char(' ') + values;
        if (const QString bundle = text(BundleRole); !bundle.isEmpty())
            line += QLatin1String("  [bundle ") + bundle + QLatin1Char(']');
    }
    if (const QString delta = text(DeltaRole); !delta.isEmpty())
        line += QLatin1String("  ") + delta;
    return line;
}

QHash<int, QByteArray> MonitorRows::roleNames() const
{
    return {{TimeRole, "time"},       {DeltaRole, "delta"},   {SentRole, "sent"},
            {PeerRole, "peer"},       {AddressRole, "address"}, {TagsRole, "tags"},
            {ValuesRole, "values"},   {BundleRole, "bundle"}, {ErrorRole, "error"},
            {LineRole, "line"},       {HexRole, "hex"}};
}

QVariantList MonitorRows::inspect(int rowIndex) const
{
    QVariantList lines;
    if (rowIndex < 0 || rowIndex >= int(m_rows.size()))
        return lines;
    const Row &row = m_rows[size_t(rowIndex)];
    const Osc::OscPacket &packet = decoded(row);
    struct Line
    {
        qint32 offset;
        QString bytes;
        QString meaning;
        bool failed;
    };
    QList<Line> annotated;
    // A long field shows its first bytes; its meaning says how long it is.
    constexpr qsizetype kShownBytes = 16;
    const auto add = [&](qint32 offset, QByteArrayView bytes, const QString &meaning, bool failed) {
        QString hex = QString::fromLatin1(bytes.first(qMin(bytes.size(), kShownBytes)).toByteArray().toHex(' '));
        if (bytes.size() > kShownBytes)
            hex += QStringLiteral(" \u2026");
        annotated.append({offset, hex, meaning, failed});
    };
    for (const Osc::OscField &field : packet.fields)
        add(field.offset, packet.bytes(field), Osc::describeField(packet, field), false);
    if (m_cachedSerial == row.serial && !m_cachedError.reason.isEmpty()) {
        const qsizetype at = qMin<qsizetype>(m_cachedError.offset, row.datagram.size());
        add(m_cachedError.offset, QByteArrayView(row.datagram).sliced(at),
            QStringLiteral("decoding stopped: ") + m_cachedError.reason, true);
    }
    // The bytes in a column as wide as the widest, so the meanings line up.
    qsizetype width = 0;
    for (const Line &line : annotated)
        width = qMax(width, line.bytes.size());
    for (const Line &line : annotated) {
        lines.append(QVariantMap{{QStringLiteral("offset"), line.offset},
                                 {QStringLiteral("bytes"), line.bytes.leftJustified(width)},
                                 {QStringLiteral("meaning"), line.meaning},
                                 {QStringLiteral("failed"), line.failed}});
    }
    return lines;
}

MonitorFilter::MonitorFilter(QObject *parent)
    : QSortFilterProxyModel(parent)
{
}

void MonitorFilter::setPattern(const QString &pattern)
{
    if (pattern == m_pattern)
        return;
    m_pattern = pattern;
    invalidateRowsFilter();
}

bool MonitorFilter::filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const
{
    if (m_pattern.isEmpty())
        return true;
    const QString address =
            sourceModel()->data(sourceModel()->index(sourceRow, 0, sourceParent), MonitorRows::AddressRole).toString();
    return !address.isEmpty() && Osc::oscPatternMatches(m_pattern, address);
}

QVariantMap MonitorRows::message(int rowIndex) const
{
    if (rowIndex < 0 || rowIndex >= int(m_rows.size()) || m_rows[size_t(rowIndex)].message < 0)
        return {};
    const Row &row = m_rows[size_t(rowIndex)];
    const Osc::OscPacket &packet = decoded(row);
    if (row.message >= packet.messages.size())
        return {};
    const Osc::OscDecodedMessage &message = packet.messages[row.message];
    QVariantList values;
    for (int i = 0; i < message.argumentCount; ++i)
        values.append(packet.value(packet.argument(message, i)));
    return {{QStringLiteral("address"), packet.address(message)},
            {QStringLiteral("tags"), QString(packet.typeTags(message))},
            {QStringLiteral("values"), values}};
}
