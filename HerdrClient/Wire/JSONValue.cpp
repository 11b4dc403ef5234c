#include "HerdrClient/Wire/JSONValue.h"

#include <nlohmann/json.hpp>

#include <charconv>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

QString JSONParseError::errorDescription() const
{
    return u"Invalid JSON at byte %1: %2"_s.arg(offset).arg(message);
}

JSONValue JSONValue::object(std::initializer_list<std::pair<const QString, JSONValue>> members)
{
    return JSONValue(Object(members));
}

JSONValue JSONValue::array(std::initializer_list<JSONValue> elements)
{
    return JSONValue(Array(elements));
}

JSONValue JSONValue::fromStrings(const std::vector<QString>& strings)
{
    Array array;
    array.reserve(strings.size());
    for (const auto& s : strings)
        array.emplace_back(s);
    return JSONValue(std::move(array));
}

JSONValue JSONValue::fromStringMap(const std::map<QString, QString>& map)
{
    Object object;
    for (const auto& [key, value] : map)
        object.emplace(key, JSONValue(value));
    return JSONValue(std::move(object));
}

std::optional<bool> JSONValue::boolValue() const
{
    if (const auto* b = std::get_if<bool>(&m_value))
        return *b;
    return std::nullopt;
}

std::optional<double> JSONValue::doubleValue() const
{
    if (const auto* d = std::get_if<double>(&m_value))
        return *d;
    return std::nullopt;
}

std::optional<qint64> JSONValue::intValue() const
{
    const auto* d = std::get_if<double>(&m_value);
    if (!d || !std::isfinite(*d))
        return std::nullopt;
    const double truncated = std::trunc(*d);
    // 2^63 is exactly representable; anything at or beyond it does not fit.
    if (truncated >= 9223372036854775808.0 || truncated < -9223372036854775808.0)
        return std::nullopt;
    return qint64(truncated);
}

std::optional<QString> JSONValue::stringValue() const
{
    if (const auto* s = std::get_if<QString>(&m_value))
        return *s;
    return std::nullopt;
}

const JSONValue* JSONValue::member(QStringView key) const
{
    const auto* object = objectValue();
    if (!object)
        return nullptr;
    const auto it = object->find(key.toString());
    return it == object->end() ? nullptr : &it->second;
}

const JSONValue* JSONValue::element(qsizetype index) const
{
    const auto* array = arrayValue();
    if (!array || index < 0 || std::size_t(index) >= array->size())
        return nullptr;
    return &(*array)[std::size_t(index)];
}

namespace {

void appendNumber(QByteArray& out, double value)
{
    if (!std::isfinite(value)) {
        out.append("null");
        return;
    }
    // Integral values are written without a fraction: herdr reads `lines` and ids as integers.
    if (value == std::trunc(value) && std::fabs(value) < 9007199254740992.0) {
        out.append(QByteArray::number(qint64(value)));
        return;
    }
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    out.append(buffer, result.ptr - buffer);
}

void appendString(QByteArray& out, const QString& value)
{
    static constexpr char hex[] = "0123456789abcdef";
    out.append('"');
    const QByteArray utf8 = value.toUtf8();
    for (const char c : utf8) {
        const auto byte = static_cast<unsigned char>(c);
        switch (c) {
        case '"': out.append("\\\""); break;
        case '\\': out.append("\\\\"); break;
        case '\n': out.append("\\n"); break;
        case '\r': out.append("\\r"); break;
        case '\t': out.append("\\t"); break;
        case '\b': out.append("\\b"); break;
        case '\f': out.append("\\f"); break;
        default:
            if (byte < 0x20) {
                out.append("\\u00");
                out.append(hex[byte >> 4]);
                out.append(hex[byte & 0xF]);
            } else {
                out.append(c);
            }
        }
    }
    out.append('"');
}

void appendValue(QByteArray& out, const JSONValue& value)
{
    switch (value.kind()) {
    case JSONValue::Kind::null: out.append("null"); break;
    case JSONValue::Kind::boolean: out.append(*value.boolValue() ? "true" : "false"); break;
    case JSONValue::Kind::number: appendNumber(out, *value.doubleValue()); break;
    case JSONValue::Kind::string: appendString(out, *value.stringValue()); break;
    case JSONValue::Kind::array: {
        out.append('[');
        bool first = true;
        for (const auto& element : *value.arrayValue()) {
            if (!first)
                out.append(',');
            first = false;
            appendValue(out, element);
        }
        out.append(']');
        break;
    }
    case JSONValue::Kind::object: {
        out.append('{');
        bool first = true;
        for (const auto& [key, member] : *value.objectValue()) {
            if (!first)
                out.append(',');
            first = false;
            appendString(out, key);
            out.append(':');
            appendValue(out, member);
        }
        out.append('}');
        break;
    }
    }
}

// Builds a JSONValue straight from the parser's events, without an intermediate tree, and
// refuses nesting deep enough to threaten the stack of whoever walks the value later.
class Builder final : public nlohmann::json_sax<nlohmann::json> {
public:
    static constexpr std::size_t maximumDepth = 512;

    std::optional<JSONValue> result;
    QString error;
    std::size_t errorOffset = 0;

    bool null() override { return add(JSONValue()); }
    bool boolean(bool value) override { return add(JSONValue(value)); }
    bool number_integer(number_integer_t value) override { return add(JSONValue(double(value))); }
    bool number_unsigned(number_unsigned_t value) override { return add(JSONValue(double(value))); }
    bool number_float(number_float_t value, const string_t&) override
    {
        return add(JSONValue(double(value)));
    }
    bool string(string_t& value) override
    {
        return add(JSONValue(QString::fromUtf8(value.data(), qsizetype(value.size()))));
    }
    bool binary(binary_t&) override { return false; }

    bool start_object(std::size_t) override { return open(JSONValue::Object{}); }
    bool key(string_t& value) override
    {
        m_stack.back().key = QString::fromUtf8(value.data(), qsizetype(value.size()));
        return true;
    }
    bool end_object() override { return close(); }
    bool start_array(std::size_t) override { return open(JSONValue::Array{}); }
    bool end_array() override { return close(); }

    bool parse_error(std::size_t position, const std::string&,
                     const nlohmann::detail::exception& e) override
    {
        errorOffset = position;
        error = QString::fromUtf8(e.what());
        return false;
    }

private:
    struct Frame {
        std::variant<JSONValue::Array, JSONValue::Object> container;
        QString key;
    };
    std::vector<Frame> m_stack;

    bool open(std::variant<JSONValue::Array, JSONValue::Object> container)
    {
        if (m_stack.size() >= maximumDepth) {
            error = u"nesting deeper than %1 levels"_s.arg(maximumDepth);
            return false;
        }
        m_stack.push_back(Frame{std::move(container), {}});
        return true;
    }

    bool close()
    {
        Frame frame = std::move(m_stack.back());
        m_stack.pop_back();
        return std::visit([this](auto& c) { return add(JSONValue(std::move(c))); },
                          frame.container);
    }

    bool add(JSONValue value)
    {
        if (m_stack.empty()) {
            result = std::move(value);
            return true;
        }
        auto& top = m_stack.back();
        if (auto* array = std::get_if<JSONValue::Array>(&top.container))
            array->push_back(std::move(value));
        else
            std::get<JSONValue::Object>(top.container).insert_or_assign(top.key, std::move(value));
        return true;
    }
};

} // namespace

QByteArray JSONValue::serialized() const
{
    QByteArray out;
    appendValue(out, *this);
    return out;
}

QString JSONValue::description() const
{
    return QString::fromUtf8(serialized());
}

std::expected<JSONValue, JSONParseError> JSONValue::parse(QByteArrayView bytes)
{
    Builder builder;
    const auto* begin = reinterpret_cast<const std::uint8_t*>(bytes.data());
    const bool ok = nlohmann::json::sax_parse(begin, begin + bytes.size(), &builder,
                                              nlohmann::json::input_format_t::json, true);
    if (!ok || !builder.result) {
        QString message = builder.error.isEmpty() ? u"not a JSON value"_s : builder.error;
        return std::unexpected(JSONParseError{message, builder.errorOffset});
    }
    return std::move(*builder.result);
}
