#include "HerdrClient/Attention/HardFloor.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

using Category = HardFloorVerdict::Category;

namespace {

HardFloor::Rule makeRule(Category category, QString rule, const QString& pattern)
{
    return {category, std::move(rule),
            QRegularExpression(pattern, QRegularExpression::CaseInsensitiveOption
                                            | QRegularExpression::UseUnicodePropertiesOption)};
}

// The line of `haystack` that holds `position`, trimmed of blanks and tabs; narrowed to the
// inline code span when the match sits between backticks.
QString evidenceAt(const QString& haystack, qsizetype position)
{
    const qsizetype lineStart = haystack.lastIndexOf(u'\n', position - 1) + 1;
    qsizetype lineEnd = haystack.indexOf(u'\n', position);
    if (lineEnd < 0)
        lineEnd = haystack.size();
    const QStringView before = QStringView(haystack).mid(lineStart, position - lineStart);
    if (before.count(u'`') % 2 == 1) {
        const qsizetype open = lineStart + before.lastIndexOf(u'`');
        const qsizetype close = haystack.indexOf(u'`', position);
        if (close >= 0 && close < lineEnd)
            return haystack.mid(open + 1, close - open - 1);
    }
    QStringView line = QStringView(haystack).mid(lineStart, lineEnd - lineStart);
    const auto isBlank = [](QChar c) { return c == u' ' || c == u'\t'; };
    while (!line.isEmpty() && isBlank(line.front()))
        line = line.mid(1);
    while (!line.isEmpty() && isBlank(line.back()))
        line.chop(1);
    return line.toString();
}

} // namespace

const std::vector<HardFloor::Rule>& HardFloor::rules()
{
    // "\z" where the text's very end is meant: "$" would also match before a final newline.
    static const std::vector<Rule> table{
        makeRule(Category::production, u"vercel --prod"_s, uR"(\bvercel\b[^\n]*\s--prod\b)"_s),
        makeRule(Category::production, u"--target production"_s, uR"(--target[= ]production\b)"_s),
        makeRule(Category::production, u"vercel promote"_s, uR"(\bvercel\b[^\n]*\bpromote\b)"_s),
        makeRule(Category::destructive, u"DROP"_s, uR"(\bDROP\s+(TABLE|DATABASE|SCHEMA)\b)"_s),
        makeRule(Category::destructive, u"TRUNCATE"_s, uR"(\bTRUNCATE\s+(TABLE\s+)?[\w."]+)"_s),
        makeRule(Category::destructive, u"DELETE without WHERE"_s,
                 uR"(\bDELETE\s+FROM\s+[\w."]+\s*(;|\z|\n|\)|'))"_s),
        makeRule(Category::destructive, u"rm -rf"_s,
                 uR"(\brm\s+(-[a-zA-Z]*r[a-zA-Z]*f|-[a-zA-Z]*f[a-zA-Z]*r|-r\s+-f|-f\s+-r)\b)"_s),
        makeRule(
            Category::money, u"live Stripe"_s,
            uR"(\b(sk|rk)_live_|\bstripe\b[^\n]*--live\b|\blive\s+stripe\b|\bstripe\b[^\n]*\blive\s+(mode|key|charge|payment))"_s),
        makeRule(
            Category::security, u"credential change"_s,
            uR"(\b(rotate|revoke|regenerate|reset)\b[^\n]*\b(credentials?|api[ _-]?keys?|tokens?|secrets?)\b)"_s),
        makeRule(
            Category::security, u"password change"_s,
            uR"(\b(change|reset|set|update)\b[^\n]*\bpasswords?\b|\bpasswords?\s+(change|reset)\b|\bpasswd\b)"_s),
        makeRule(
            Category::security, u"role change"_s,
            uR"(\b(grant|revoke)\b[^\n]*\b(role|admin|privileges?|owner)\b|\bALTER\s+(ROLE|USER)\b)"_s),
        makeRule(Category::security, u"MFA change"_s, uR"(\b(MFA|2FA|two[- ]factor)\b)"_s),
    };
    return table;
}

QString HardFloor::defaultTarget(const QString& project, Category category)
{
    QString slug =
        project.toLower().split(QRegularExpression(uR"(\s+)"_s), Qt::SkipEmptyParts).join(u'-');
    if (slug.isEmpty())
        slug = u"agent"_s;
    return slug + u'-' + actionWord(category);
}

std::optional<HardFloorVerdict> HardFloor::classify(
    const std::optional<NeedsHumanSignal::Floor>& declared, const std::vector<QString>& texts,
    const QString& project)
{
    if (declared && declared->isFloor) {
        HardFloorVerdict verdict;
        verdict.category = declared->category.value_or(Category::production);
        verdict.rule = declared->reason.value_or(u"flagged by pi"_s);
        verdict.target = declared->target.value_or(QString()).trimmed();
        if (verdict.target.isEmpty())
            verdict.target = defaultTarget(project, verdict.category);
        if (declared->command)
            verdict.evidence = *declared->command;
        else if (!texts.empty())
            verdict.evidence = texts.front();
        return verdict;
    }

    QStringList present;
    for (const auto& text : texts) {
        if (!text.isEmpty())
            present.append(text);
    }
    if (present.isEmpty())
        return std::nullopt;
    const QString haystack = present.join(u'\n');
    for (const auto& rule : rules()) {
        if (!rule.expression.isValid())
            continue;
        const auto match = rule.expression.match(haystack);
        if (!match.hasMatch())
            continue;
        return HardFloorVerdict{rule.category, rule.rule, defaultTarget(project, rule.category),
                                evidenceAt(haystack, match.capturedStart())};
    }
    return std::nullopt;
}

std::optional<HardFloorVerdict> HardFloor::classify(const PendingInteraction* interaction,
                                                    const NeedsHumanSignal* signal,
                                                    const QString& project)
{
    std::vector<QString> texts;
    if (interaction) {
        if (interaction->contentEvidence) {
            if (const auto* command = interaction->contentEvidence->command())
                texts.push_back(command->command);
        }
        for (const auto* part : {&interaction->title, &interaction->header, &interaction->body}) {
            if (*part)
                texts.push_back(**part);
        }
        for (const auto& choice : interaction->choices) {
            texts.push_back(choice.label);
            texts.push_back(choice.description.value_or(QString()));
        }
    }
    if (signal) {
        texts.push_back(signal->q);
        if (signal->header)
            texts.push_back(*signal->header);
        if (signal->options)
            texts.insert(texts.end(), signal->options->begin(), signal->options->end());
    }
    return classify(signal ? signal->floor : std::nullopt, texts, project);
}
