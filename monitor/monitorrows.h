#pragma once

#include "oscdecoder.h"

#include <QAbstractListModel>
#include <QByteArray>
#include <QHostAddress>
#include <QList>
#include <QSortFilterProxyModel>

#include <deque>

// The monitor's list: one row per OSC message heard from the target (a bundle's messages
// each a row of their own) or sent by the desk, and one per datagram that does not
// decode. Rows hold the datagram, shared, and are decoded again when shown, so a flood
// costs a decode per datagram and no text until a row is on screen. Bounded: beyond
// kMaxRows rows or kMaxBytes bytes of datagrams the oldest go, and are counted.
class MonitorRows : public QAbstractListModel
{
    Q_OBJECT
public:
    enum Role {
        TimeRole = Qt::UserRole + 1, // "hh:mm:ss.zzz"
        DeltaRole,                   // milliseconds since the row before, "+12 ms"
        SentRole,                    // true for the desk's own sends
        PeerRole,                    // "host:port" it came from, or went to
        AddressRole,
        TagsRole,                    // ",iii"
        ValuesRole,                  // the values, as the monitor prints them
        BundleRole,                  // the bundle's time tag, or empty outside bundles
        ErrorRole,                   // why the datagram does not decode, or empty
        LineRole,                    // the row as one line of text, as the list shows it
        HexRole,                     // the row's datagram in hex
    };

    static constexpr int kMaxRows = 10000;
    static constexpr qsizetype kMaxBytes = 32 << 20;

    explicit MonitorRows(QObject *parent = nullptr);

    // Adds the rows of one datagram, decoded into `packet` (or not: then `error` says why),
    // to those waiting for the next flush.
    void add(qint64 msecsSinceEpoch, bool sent, const QString &peer, const QByteArray &datagram,
             const Osc::OscPacket &packet, const Osc::OscDecodeError *error);
    // Shows what waits: called at each tick, and not while paused.
    void flush();
    void clear();
    int dropped() const { return m_dropped; }

    // The inspector's lines for a row: {offset, bytes, meaning, failed} each.
    QVariantList inspect(int row) const;
    // A row's message: {address, tags (without the comma), values}; empty for a datagram
    // that does not decode.
    QVariantMap message(int row) const;

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

private:
    struct Row
    {
        qint64 msecs;
        quint64 serial;       // one per datagram
        QByteArray datagram;
        QString peer;
        qint32 message;       // index among the datagram's messages; -1: it does not decode
        bool sent;
    };

    const Osc::OscPacket &decoded(const Row &row) const;
    QString line(const QModelIndex &index) const;
    void dropOldest(std::deque<Row> &rows, qsizetype &bytes, qsizetype count);
    static qsizetype bytesOf(const Row &row);

    std::deque<Row> m_rows;
    std::deque<Row> m_waiting;
    qsizetype m_bytes = 0;
    qsizetype m_waitingBytes = 0;
    quint64 m_nextSerial = 1;
    int m_dropped = 0;
    // The last decoded datagram: a row asks for several roles in a row.
    mutable quint64 m_cachedSerial = 0;
    mutable Osc::OscPacket m_cached;
    mutable Osc::OscDecodeError m_cachedError;
};

// The rows whose address matches an OSC address pattern; every row when it is empty.
class MonitorFilter : public QSortFilterProxyModel
{
    Q_OBJECT
public:
    explicit MonitorFilter(QObject *parent = nullptr);
    void setPattern(const QString &pattern);

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const override;

private:
    QString m_pattern;
};
