#pragma once

#include <QString>

// An SSH destination as the person typed it ("box", "ana@box", "box.example.org").
namespace SSHTarget {

// Not empty, no leading "-" (ssh would take it for an option), and no white space or control
// characters. Checked before any process starts.
bool isValid(const QString& target);

} // namespace SSHTarget
