#pragma once

#include "HerdrClient/Wire/JSONDecoding.h"

#include <QByteArrayView>
#include <QHashSeed>
#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

// A broken invariant is a finding: it stops the run like a sanitizer would.
#define FUZZ_CHECK(condition)                                                                      \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            std::fprintf(stderr, "%s:%d: invariant failed: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                          \
        }                                                                                          \
    } while (false)

namespace FuzzSupport {

// Pieces of one input are separated by the record separator byte, which no reader gives a
// meaning; missing pieces are empty and the last piece takes the rest.
inline constexpr char separator = '\x1e';

inline std::vector<QByteArrayView> split(const std::uint8_t* data, std::size_t size,
                                         std::size_t count)
{
    std::vector<QByteArrayView> pieces;
    QByteArrayView rest(data, qsizetype(size));
    while (pieces.size() + 1 < count) {
        const qsizetype end = rest.indexOf(separator);
        if (end < 0)
            break;
        pieces.push_back(rest.first(end));
        rest = rest.sliced(end + 1);
    }
    pieces.push_back(rest);
    pieces.resize(count);
    return pieces;
}

inline QString text(QByteArrayView bytes)
{
    return QString::fromUtf8(bytes);
}

// The same input must take the same path on every run, so hashing is not seeded at random.
inline void makeDeterministic()
{
    QHashSeed::setDeterministicGlobalSeed();
}

// A record read from foreign JSON, written back and read again, is the record it was.
template <class T>
void checkRoundTrip(const JSONValue& value)
{
    const auto decoded = JSONCoding<T>::decode(value);
    if (!decoded)
        return;
    const auto reread = JSONValue::parse(JSONCoding<T>::encode(*decoded).serialized());
    FUZZ_CHECK(reread.has_value());
    const auto again = JSONCoding<T>::decode(*reread);
    FUZZ_CHECK(again.has_value() && *again == *decoded);
}

} // namespace FuzzSupport
