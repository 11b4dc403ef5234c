#pragma once

#include "HerdrClient/Wire/JSONValue.h"

#include <QString>

#include <expected>
#include <map>
#include <optional>
#include <type_traits>
#include <vector>

// Why a JSON value could not be read as a record.
struct DecodingError {
    QString message;

    QString errorDescription() const { return message; }
    bool operator==(const DecodingError&) const = default;
};

template <class T>
using Decoded = std::expected<T, DecodingError>;

// How a value of type T is read from JSON and written back. Records provide
// `static Decoded<T> decode(const JSONValue&)` and `JSONValue asJSONValue() const`.
template <class T>
struct JSONCoding {
    static Decoded<T> decode(const JSONValue& value) { return T::decode(value); }
    static JSONValue encode(const T& value) { return value.asJSONValue(); }
};

template <>
struct JSONCoding<QString> {
    static Decoded<QString> decode(const JSONValue& value);
    static JSONValue encode(const QString& value) { return JSONValue(value); }
};

template <>
struct JSONCoding<bool> {
    static Decoded<bool> decode(const JSONValue& value);
    static JSONValue encode(bool value) { return JSONValue(value); }
};

template <>
struct JSONCoding<double> {
    static Decoded<double> decode(const JSONValue& value);
    static JSONValue encode(double value) { return JSONValue(value); }
};

// Integers must be whole numbers within the type's range, as a strict JSON decoder demands.
template <>
struct JSONCoding<qint64> {
    static Decoded<qint64> decode(const JSONValue& value);
    static JSONValue encode(qint64 value) { return JSONValue(value); }
};

template <>
struct JSONCoding<quint64> {
    static Decoded<quint64> decode(const JSONValue& value);
    static JSONValue encode(quint64 value) { return JSONValue(value); }
};

template <>
struct JSONCoding<JSONValue> {
    static Decoded<JSONValue> decode(const JSONValue& value) { return value; }
    static JSONValue encode(const JSONValue& value) { return value; }
};

template <class T>
struct JSONCoding<std::vector<T>> {
    static Decoded<std::vector<T>> decode(const JSONValue& value)
    {
        const auto* array = value.arrayValue();
        if (!array)
            return std::unexpected(DecodingError{QStringLiteral("expected an array")});
        std::vector<T> result;
        result.reserve(array->size());
        for (std::size_t i = 0; i < array->size(); ++i) {
            auto element = JSONCoding<T>::decode((*array)[i]);
            if (!element)
                return std::unexpected(
                    DecodingError{QStringLiteral("[%1]: %2").arg(i).arg(element.error().message)});
            result.push_back(std::move(*element));
        }
        return result;
    }
    static JSONValue encode(const std::vector<T>& values)
    {
        JSONValue::Array array;
        array.reserve(values.size());
        for (const auto& v : values)
            array.push_back(JSONCoding<T>::encode(v));
        return JSONValue(std::move(array));
    }
};

template <class T>
struct JSONCoding<std::map<QString, T>> {
    static Decoded<std::map<QString, T>> decode(const JSONValue& value)
    {
        const auto* object = value.objectValue();
        if (!object)
            return std::unexpected(DecodingError{QStringLiteral("expected an object")});
        std::map<QString, T> result;
        for (const auto& [key, member] : *object) {
            auto decoded = JSONCoding<T>::decode(member);
            if (!decoded)
                return std::unexpected(
                    DecodingError{QStringLiteral("%1: %2").arg(key, decoded.error().message)});
            result.emplace(key, std::move(*decoded));
        }
        return result;
    }
    static JSONValue encode(const std::map<QString, T>& values)
    {
        JSONValue::Object object;
        for (const auto& [key, v] : values)
            object.emplace(key, JSONCoding<T>::encode(v));
        return JSONValue(std::move(object));
    }
};

// Reads the members of one record. The first failure sticks; later reads return defaults, and
// `finish` hands out either the record or that failure.
class RecordReader {
public:
    explicit RecordReader(const JSONValue& value);

    // A required key: absent or null fails the record.
    template <class T>
    T required(QStringView key)
    {
        const JSONValue* member = m_value.member(key);
        if (!m_error && (!member || member->isNull())) {
            fail(key, QStringLiteral("required key is missing"));
            return T{};
        }
        return read<T>(key, member);
    }

    // An optional key: absent or null is an absent field; a wrong type still fails the record.
    template <class T>
    std::optional<T> optional(QStringView key)
    {
        const JSONValue* member = m_value.member(key);
        if (!member || member->isNull())
            return std::nullopt;
        if (m_error)
            return std::nullopt;
        return read<T>(key, member);
    }

    bool failed() const { return m_error.has_value(); }

    template <class R>
    Decoded<R> finish(R record) const
    {
        if (m_error)
            return std::unexpected(*m_error);
        return record;
    }

private:
    template <class T>
    T read(QStringView key, const JSONValue* member)
    {
        if (m_error || !member)
            return T{};
        auto decoded = JSONCoding<T>::decode(*member);
        if (!decoded) {
            fail(key, decoded.error().message);
            return T{};
        }
        return std::move(*decoded);
    }

    void fail(QStringView key, const QString& message);

    const JSONValue& m_value;
    std::optional<DecodingError> m_error;
};

// Builds the JSON object of a record; absent optionals are left out rather than written as null.
class RecordWriter {
public:
    template <class T>
    RecordWriter& set(const QString& key, const T& value)
    {
        m_object.insert_or_assign(key, JSONCoding<T>::encode(value));
        return *this;
    }

    template <class T>
    RecordWriter& set(const QString& key, const std::optional<T>& value)
    {
        if (value)
            m_object.insert_or_assign(key, JSONCoding<T>::encode(*value));
        return *this;
    }

    JSONValue value() const { return JSONValue(m_object); }

private:
    JSONValue::Object m_object;
};
