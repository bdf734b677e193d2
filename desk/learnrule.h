#pragma once

#include <QJsonObject>
#include <QString>
#include <QVariantList>

// The control a message heard from the target makes, read from its type tags (without
// the comma): one f or d a float fader, one i or h an int fader, T or F a toggle button,
// ff an XY pad, one s a button that sends that text, none a button without arguments.
// The label is the address's last part.
namespace LearnRule {

// The channel entry for that control, or an empty object and the reason in *refusal,
// as the one log line says it.
QJsonObject entryFor(const QString &address, const QString &tags, const QVariantList &values, QString *refusal);

// Why a text is no address a control can send to, or "" when it is one. An empty
// address is allowed: the control then sends /osc/channel.
QString addressFault(const QString &address);

} // namespace LearnRule
