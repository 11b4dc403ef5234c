#include "HerdrClient/Attention/HardFloorVerdict.h"

using namespace Qt::StringLiterals;

using Category = HardFloorVerdict::Category;

QString toString(Category category)
{
    switch (category) {
    case Category::production:
        return u"production"_s;
    case Category::money:
        return u"money"_s;
    case Category::destructive:
        return u"destructive"_s;
    case Category::security:
        return u"security"_s;
    }
    return {};
}

std::optional<Category> hardFloorCategoryFromString(QStringView text)
{
    for (const auto category :
         {Category::production, Category::money, Category::destructive, Category::security}) {
        if (text == toString(category))
            return category;
    }
    return std::nullopt;
}

QString title(Category category)
{
    switch (category) {
    case Category::production:
        return u"Production"_s;
    case Category::money:
        return u"Money"_s;
    case Category::destructive:
        return u"Destructive"_s;
    case Category::security:
        return u"Security"_s;
    }
    return {};
}

QString approveTitle(Category category)
{
    switch (category) {
    case Category::production:
        return u"Approve production deploy"_s;
    case Category::money:
        return u"Approve live charge"_s;
    case Category::destructive:
        return u"Approve destructive change"_s;
    case Category::security:
        return u"Approve security change"_s;
    }
    return {};
}

QString actionWord(Category category)
{
    switch (category) {
    case Category::production:
        return u"prod"_s;
    case Category::money:
        return u"live"_s;
    case Category::destructive:
        return u"delete"_s;
    case Category::security:
        return u"security"_s;
    }
    return {};
}
