#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringView>

#include <cstdint>
#include <expected>
#include <initializer_list>
#include <map>
#include <optional>
#include <utility>
#include <variant>
#include <vector>

// Why a value could not be parsed as JSON. `offset` is the byte where the parser gave up.
struct JSONParseError {
    QString message;
    std::size_t offset = 0;

    QString errorDescription() const;
    bool operator==(const JSONParseError&) const = default;
};

// Any JSON value. Numbers are doubles, as on the wire we read; objects keep their keys sorted,
// so that serialising the same value always gives the same bytes.
class JSONValue {
public:
    using Array = std::vector<JSONValue>;
    using Object = std::map<QString, JSONValue>;

    enum class Kind { null, boolean, number, string, array, object };

    JSONValue() = default;
    JSONValue(bool value) : m_value(value) {}
    JSONValue(double value) : m_value(value) {}
    JSONValue(int value) : m_value(double(value)) {}
    JSONValue(qint64 value) : m_value(double(value)) {}
    JSONValue(quint64 value) : m_value(double(value)) {}
    JSONValue(QString value) : m_value(std::move(value)) {}
    JSONValue(Array value) : m_value(std::move(value)) {}
    JSONValue(Object value) : m_value(std::move(value)) {}

    static JSONValue object(std::initializer_list<std::pair<const QString, JSONValue>> members);
    static JSONValue array(std::initializer_list<JSONValue> elements);
    static JSONValue fromStrings(const std::vector<QString>& strings);
    static JSONValue fromStringMap(const std::map<QString, QString>& map);

    Kind kind() const { return Kind(m_value.index()); }
    bool isNull() const { return kind() == Kind::null; }

    std::optional<bool> boolValue() const;
    std::optional<double> doubleValue() const;
    // A number truncated towards zero; absent outside the 64-bit range or for non-numbers.
    std::optional<qint64> intValue() const;
    std::optional<QString> stringValue() const;
    const Array* arrayValue() const { return std::get_if<Array>(&m_value); }
    const Object* objectValue() const { return std::get_if<Object>(&m_value); }

    // The member for `key` of an object, or nullptr (also for a non-object).
    const JSONValue* member(QStringView key) const;
    // The element at `index` of an array, or nullptr when out of range or not an array.
    const JSONValue* element(qsizetype index) const;

    // Compact JSON text: keys sorted, forward slashes not escaped, integral numbers without a
    // fraction. Non-finite numbers have no JSON form and are written as null.
    QByteArray serialized() const;
    // Plain text for logs and messages: the serialised form, as UTF-8.
    QString description() const;

    static std::expected<JSONValue, JSONParseError> parse(QByteArrayView bytes);

    bool operator==(const JSONValue&) const = default;

private:
    std::variant<std::monostate, bool, double, QString, Array, Object> m_value;
};
