#pragma once

#include "oscdesk.h"

#include <QObject>
#include <QString>

// One control of the desk as QML sees it while its strip is near the view: what its
// channel entry says, and its state, read from and written to the desk, so that the
// state outlives the item that shows it. After a new fixtures list it stands for
// nothing: reads give the initial state and writes are dropped.
class DeskControl : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString kind READ kind CONSTANT)
    Q_PROPERTY(int universe READ universe CONSTANT)
    Q_PROPERTY(int channel READ channel CONSTANT)
    Q_PROPERTY(QString label READ label CONSTANT)
    Q_PROPERTY(QString oscAddress READ oscAddress CONSTANT)
    Q_PROPERTY(QString argType READ argType CONSTANT)
    Q_PROPERTY(QString mode READ mode CONSTANT)
    Q_PROPERTY(QString stringValue READ stringValue CONSTANT)
    Q_PROPERTY(double value READ value WRITE setValue NOTIFY valueChanged)
    Q_PROPERTY(bool checked READ checked WRITE setChecked NOTIFY checkedChanged)
    Q_PROPERTY(double xValue READ xValue NOTIFY pointChanged)
    Q_PROPERTY(double yValue READ yValue NOTIFY pointChanged)
    Q_PROPERTY(bool held READ held WRITE setHeld NOTIFY heldChanged)
    Q_PROPERTY(int lastSentValue READ lastSentValue WRITE setLastSentValue NOTIFY lastSentChanged)
    Q_PROPERTY(QString lastSentPair READ lastSentPair WRITE setLastSentPair NOTIFY lastSentChanged)

public:
    DeskControl(OscDesk *desk, int index, QObject *parent);

    QString kind() const;
    int universe() const { return state().universe; }
    int channel() const { return state().channel; }
    QString label() const { return text(state().label); }
    QString oscAddress() const { return text(state().oscAddress); }
    QString argType() const { return text(state().argType); }
    QString mode() const { return text(state().mode); }
    QString stringValue() const { return text(state().stringValue); }
    double value() const { return state().value; }
    bool checked() const { return state().checked; }
    double xValue() const { return state().x; }
    double yValue() const { return state().y; }
    bool held() const { return state().held; }
    int lastSentValue() const { return state().lastSentValue; }
    QString lastSentPair() const { return state().lastSentPair; }

    void setValue(double value);
    void setChecked(bool checked);
    Q_INVOKABLE void setPoint(double x, double y);
    void setHeld(bool held);
    void setLastSentValue(int value);
    void setLastSentPair(const QString &pair);

    // The desk's list was replaced: this object no longer stands for a control.
    void detach() { m_desk = nullptr; }
    // The list was edited and the same control now stands at `index`.
    void moveTo(int index) { m_index = index; }

signals:
    void valueChanged();
    void checkedChanged();
    void pointChanged();
    void heldChanged();
    void lastSentChanged();

private:
    const OscDesk::Control &state() const;
    QString text(OscDesk::Text text) const { return m_desk ? m_desk->text(text) : QString(); }
    OscDesk::Control *writable();

    OscDesk *m_desk;
    int m_index;
};
