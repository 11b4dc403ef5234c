#pragma once

#include <QString>

#include <optional>
#include <variant>

// Who opened the surface: the person, or the program on its own.
enum class OrrelExpansionOrigin { automatic, manual };

QString toString(OrrelExpansionOrigin origin);

struct OrrelFocusContext {
    OrrelExpansionOrigin origin = OrrelExpansionOrigin::manual;
    // Whether the person has done anything in the card since it opened; an automatic card they
    // touched falls back to the overview rather than all the way to the pill.
    bool hasUserEngaged = false;

    bool operator==(const OrrelFocusContext&) const = default;
};

// The shape of the surface: the pill, the overview of every agent, or the card of one.
class OrrelPresentation {
public:
    struct Compact {
        bool operator==(const Compact&) const = default;
    };
    struct Overview {
        bool operator==(const Overview&) const = default;
    };
    struct Focused {
        OrrelFocusContext context;
        bool operator==(const Focused&) const = default;
    };

    OrrelPresentation() = default; // compact
    static OrrelPresentation compact() { return OrrelPresentation(Compact{}); }
    static OrrelPresentation overview() { return OrrelPresentation(Overview{}); }
    static OrrelPresentation focused(OrrelFocusContext context)
    {
        return OrrelPresentation(Focused{context});
    }

    bool isCompact() const { return std::holds_alternative<Compact>(m_value); }
    bool isOverview() const { return std::holds_alternative<Overview>(m_value); }
    bool isFocused() const { return std::holds_alternative<Focused>(m_value); }
    bool isExpanded() const { return !isCompact(); }
    // The context of a focused card; nothing for the other shapes.
    std::optional<OrrelFocusContext> focusContext() const;

    const std::variant<Compact, Overview, Focused>& value() const { return m_value; }

    // "compact", "overview" or "focused".
    QString toString() const;

    bool operator==(const OrrelPresentation&) const = default;

private:
    explicit OrrelPresentation(std::variant<Compact, Overview, Focused> value) : m_value(value) {}

    std::variant<Compact, Overview, Focused> m_value;
};
