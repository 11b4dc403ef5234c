#pragma once

#include <QString>
#include <QStringView>

#include <optional>

// Why an approval must be armed deliberately, and what it would touch.
struct HardFloorVerdict {
    enum class Category { production, money, destructive, security };

    Category category = Category::production;
    // The name of the rule that matched, or the reason the agent declared.
    QString rule;
    // What the person types to arm the approval.
    QString target;
    // The line (or inline command) that made the rule match.
    QString evidence;

    bool operator==(const HardFloorVerdict&) const = default;
};

QString toString(HardFloorVerdict::Category category);
std::optional<HardFloorVerdict::Category> hardFloorCategoryFromString(QStringView text);
// "Production", "Money", ...
QString title(HardFloorVerdict::Category category);
// The label of the armed approve button: "Approve production deploy", ...
QString approveTitle(HardFloorVerdict::Category category);
// The last word of a default target: "prod", "live", "delete", "security".
QString actionWord(HardFloorVerdict::Category category);
