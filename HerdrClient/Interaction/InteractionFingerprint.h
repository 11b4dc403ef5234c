#pragma once

#include <QHashFunctions>
#include <QString>

#include <functional>

// The identity of a prompt: 64 lower-case hexadecimal characters of a SHA-256. Two readings with
// the same fingerprint are the same question on the same pane.
struct InteractionFingerprint {
    QString rawValue;

    InteractionFingerprint() = default;
    explicit InteractionFingerprint(QString value) : rawValue(std::move(value)) {}

    bool operator==(const InteractionFingerprint&) const = default;
    auto operator<=>(const InteractionFingerprint& other) const
    {
        return rawValue.compare(other.rawValue) <=> 0;
    }
};

inline size_t qHash(const InteractionFingerprint& fingerprint, size_t seed = 0) noexcept
{
    return qHash(fingerprint.rawValue, seed);
}

template <>
struct std::hash<InteractionFingerprint> {
    size_t operator()(const InteractionFingerprint& fingerprint) const noexcept
    {
        return qHash(fingerprint.rawValue);
    }
};
