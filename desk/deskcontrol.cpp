#include "deskcontrol.h"

DeskControl::DeskControl(OscDesk *desk, int index, QObject *parent)
    : QObject(parent), m_desk(desk), m_index(index)
{
}

QString DeskControl::kind() const
{
    switch (state().kind) {
    case OscDesk::Kind::Button: return QStringLiteral("button");
    case OscDesk::Kind::XYPad: return QStringLiteral("xy");
    case OscDesk::Kind::Fader: break;
    }
    return QStringLiteral("fader");
}

const OscDesk::Control &DeskControl::state() const
{
    static const OscDesk::Control initial;
    return m_desk ? m_desk->control(m_index) : initial;
}

OscDesk::Control *DeskControl::writable()
{
    return m_desk ? &m_desk->mutableControl(m_index) : nullptr;
}

void DeskControl::setValue(double value)
{
    OscDesk::Control *control = writable();
    if (!control || control->value == value)
        return;
    control->value = value;
    emit valueChanged();
}

void DeskControl::setChecked(bool checked)
{
    OscDesk::Control *control = writable();
    if (!control || control->checked == checked)
        return;
    control->checked = checked;
    emit checkedChanged();
}

void DeskControl::setPoint(double x, double y)
{
    OscDesk::Control *control = writable();
    if (!control || (control->x == x && control->y == y))
        return;
    control->x = x;
    control->y = y;
    emit pointChanged();
}

void DeskControl::setHeld(bool held)
{
    if (!m_desk || state().held == held)
        return;
    m_desk->setHeld(m_index, held);
    emit heldChanged();
}

void DeskControl::setLastSentValue(int value)
{
    OscDesk::Control *control = writable();
    if (!control || control->lastSentValue == value)
        return;
    control->lastSentValue = value;
    emit lastSentChanged();
}

void DeskControl::setLastSentPair(const QString &pair)
{
    OscDesk::Control *control = writable();
    if (!control || control->lastSentPair == pair)
        return;
    control->lastSentPair = pair;
    emit lastSentChanged();
}
