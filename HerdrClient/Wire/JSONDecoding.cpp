#include "HerdrClient/Wire/JSONDecoding.h"

#include <cmath>

using namespace Qt::StringLiterals;

namespace {
DecodingError typeMismatch(const char16_t* expected)
{
    return DecodingError{u"expected %1"_s.arg(QString::fromUtf16(expected))};
}
} // namespace

Decoded<QString> JSONCoding<QString>::decode(const JSONValue& value)
{
    if (auto s = value.stringValue())
        return *s;
    return std::unexpected(typeMismatch(u"a string"));
}

Decoded<bool> JSONCoding<bool>::decode(const JSONValue& value)
{
    if (auto b = value.boolValue())
        return *b;
    return std::unexpected(typeMismatch(u"a boolean"));
}

Decoded<double> JSONCoding<double>::decode(const JSONValue& value)
{
    if (auto d = value.doubleValue())
        return *d;
    return std::unexpected(typeMismatch(u"a number"));
}

Decoded<qint64> JSONCoding<qint64>::decode(const JSONValue& value)
{
    const auto d = value.doubleValue();
    if (!d || *d != std::trunc(*d) || *d >= 9223372036854775808.0 || *d < -9223372036854775808.0)
        return std::unexpected(typeMismatch(u"an integer"));
    return qint64(*d);
}

Decoded<quint64> JSONCoding<quint64>::decode(const JSONValue& value)
{
    const auto d = value.doubleValue();
    if (!d || *d != std::trunc(*d) || *d < 0 || *d >= 18446744073709551616.0)
        return std::unexpected(typeMismatch(u"an unsigned integer"));
    return quint64(*d);
}

RecordReader::RecordReader(const JSONValue& value) : m_value(value)
{
    if (!value.objectValue())
        m_error = typeMismatch(u"an object");
}

void RecordReader::fail(QStringView key, const QString& message)
{
    if (!m_error)
        m_error = DecodingError{u"%1: %2"_s.arg(key.toString(), message)};
}
