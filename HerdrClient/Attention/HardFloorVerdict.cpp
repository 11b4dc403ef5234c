#include "HerdrClient/Attention/HardFloorVerdict.h"

#include <array>

using namespace Qt::StringLiterals;

using Category = HardFloorVerdict::Category;

namespace {

struct CategoryTexts {
    Category category;
    QStringView value;
    QStringView title;
    QStringView approveTitle;
    QStringView actionWord;
};

constexpr std::array<CategoryTexts, 4> categoryTexts{{
    {Category::production, u"production", u"Production", u"Approve production deploy", u"prod"},
    {Category::money, u"money", u"Money", u"Approve live charge", u"live"},
    {Category::destructive, u"destructive", u"Destructive", u"Approve destructive change",
     u"delete"},
    {Category::security, u"security", u"Security", u"Approve security change", u"security"},
}};

const CategoryTexts& textsOf(Category category)
{
    return categoryTexts[std::size_t(category)];
}

} // namespace

QString toString(Category category)
{
    return textsOf(category).value.toString();
}

std::optional<Category> hardFloorCategoryFromString(QStringView text)
{
    for (const auto& texts : categoryTexts) {
        if (text == texts.value)
            return texts.category;
    }
    return std::nullopt;
}

QString title(Category category)
{
    return textsOf(category).title.toString();
}

QString approveTitle(Category category)
{
    return textsOf(category).approveTitle.toString();
}

QString actionWord(Category category)
{
    return textsOf(category).actionWord.toString();
}
