#pragma once

#include "HerdrClient/Support/Clock.h"

#include <QString>
#include <QVariantMap>

class OrrelSurfaceState;
class OrrelViewModel;

// The view model's state as plain maps and lists of final texts: what the QML views bind to and
// what the automation channel reports. Absent values are null, never missing keys, so that a
// reader can tell "none" from "not projected".
namespace SurfaceProjection {

// The compact pill: its status, size, fade, pulse, colour and what a screen reader says.
QVariantMap pill(const OrrelViewModel& model, const OrrelSurfaceState& surface, Timestamp at);
// The overview: its state with the texts of that state, the sessions, and the attention board.
QVariantMap overview(const OrrelViewModel& model, Timestamp at);
// The selected agent's card; empty when nothing is selected.
QVariantMap card(const OrrelViewModel& model, Timestamp at);

// The words views show that belong to no model value: button labels, hints, headings.
QVariantMap labels();
// The colours of the board's tones and the pill's statuses, by their wire words.
QVariantMap tones();

// A text written for another desktop, said as true for this one.
QString forThisDesktop(const QString& text);

} // namespace SurfaceProjection
