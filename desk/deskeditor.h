#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <QTimer>
#include <QUndoStack>
#include <QVariantList>
#include <QVariantMap>

#include <limits>

class EventLog;
class FixtureStore;
class OscDesk;
class OscMonitor;
namespace Osc {
struct OscPacket;
struct OscDecodedMessage;
}

// Builds the desk in the window: every edit of a strip or a control is one step of an
// undo stack and changes the fixture store's list, which the desk follows in place (the
// other controls keep their values). A load from a file drops the history. Learning
// adds a control for an address heard from the target. A refused edit is one WARNING
// line with the reason. Published to QML as `deskEditor`.
class DeskEditor : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool editing READ editing WRITE setEditing NOTIFY editingChanged)
    Q_PROPERTY(bool modified READ modified NOTIFY modifiedChanged)
    Q_PROPERTY(bool learning READ learning WRITE setLearning NOTIFY learningChanged)
    Q_PROPERTY(int selectedStrip READ selectedStrip WRITE setSelectedStrip NOTIFY selectionChanged)
    Q_PROPERTY(int selectedChannel READ selectedChannel WRITE setSelectedChannel NOTIFY selectionChanged)
    Q_PROPERTY(QObject *undoStack READ undoStack CONSTANT)

public:
    // `desk` may be null (learning without a window).
    DeskEditor(FixtureStore *store, OscDesk *desk, EventLog *log, QObject *parent = nullptr);
    ~DeskEditor() override;

    bool editing() const { return m_editing; }
    bool modified() const { return !m_stack.isClean(); }
    bool learning() const { return m_learning; }
    int selectedStrip() const { return m_selectedStrip; }
    int selectedChannel() const { return m_selectedChannel; }
    QObject *undoStack() { return &m_stack; }
    QUndoStack *stack() { return &m_stack; }

    void setEditing(bool on);
    void setLearning(bool on);
    void setSelectedStrip(int strip);
    void setSelectedChannel(int offset);

    // Learns from every message the monitor hears while learning is on.
    void follow(OscMonitor *monitor);

    // The list as edited (what the store holds once pending learned controls are in).
    QJsonArray fixtures();

    Q_INVOKABLE QVariantMap stripFields(int strip);
    Q_INVOKABLE QVariantMap controlFields(int strip, int offset);
    Q_INVOKABLE QString checkStripField(const QString &key, const QVariant &value) const;
    Q_INVOKABLE QString checkControlField(const QString &key, const QVariant &value, const QString &controlType) const;
    Q_INVOKABLE QStringList argTypesFor(const QString &controlType) const;

    Q_INVOKABLE bool setStripField(int strip, const QString &key, const QVariant &value);
    Q_INVOKABLE bool setControlField(int strip, int offset, const QString &key, const QVariant &value);
    Q_INVOKABLE int addStrip();
    Q_INVOKABLE bool removeStrip(int strip);
    Q_INVOKABLE int duplicateStrip(int strip, const QString &find, const QString &replace);
    Q_INVOKABLE bool moveStrip(int strip, int delta);
    Q_INVOKABLE bool addChannel(int strip);
    Q_INVOKABLE bool removeChannel(int strip, int offset);
    Q_INVOKABLE void undo();
    Q_INVOKABLE void redo();

    Q_INVOKABLE bool learn(const QString &address, const QString &tags, const QVariantList &values);
    Q_INVOKABLE bool learnMonitorRow(int row);

    // Writes the default fixtures file; any successful save of the list marks it clean.
    Q_INVOKABLE bool save();
    // Drops the edits not saved.
    Q_INVOKABLE void discard();

    // Puts what learning added since the last publication into the store now.
    void flush();

signals:
    void editingChanged();
    void modifiedChanged();
    void learningChanged();
    void selectionChanged();

private:
    friend class ReplaceFixtures;
    friend class LearnControl;

    QJsonArray &list();
    // The list, about to change from fixture `from` on.
    QJsonArray &changing(int from);
    // The one change every edit makes: `count` fixtures from `at` become `with`.
    void replace(int at, int count, const QJsonArray &with, bool soon = false);
    void publish(bool soon);
    bool refuse(const QString &reason);
    bool validStrip(int strip, const QString &what);
    bool push(const QString &text, int at, int count, const QJsonArray &with);
    bool learnEntry(const QString &address, const QJsonObject &entry, bool soon);
    int firstFreeChannel(int universe);
    void onListLoaded();
    void onMessageHeard(const Osc::OscPacket &packet, const Osc::OscDecodedMessage &message);
    void keepSelectionInRange();

    FixtureStore *m_store;
    OscDesk *m_desk;
    EventLog *m_log;
    OscMonitor *m_monitor = nullptr;
    QUndoStack m_stack;
    QJsonArray m_list;
    bool m_listValid = false;
    bool m_publishing = false;
    // The fixtures before this one are as the store last got them.
    int m_changedFrom = std::numeric_limits<int>::max();
    QTimer m_publish;  // learned controls reach the store and the desk a few times a second
    QSet<QString> m_heard;  // while learning: the addresses heard or on the desk
    bool m_editing = false;
    bool m_learning = false;
    int m_selectedStrip = -1;
    int m_selectedChannel = -1;
};
