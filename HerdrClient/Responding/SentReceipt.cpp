#include "HerdrClient/Responding/SentReceipt.h"

#include "HerdrClient/Wire/JSONDecoding.h"

#include <QStringList>

using namespace Qt::StringLiterals;

namespace {

std::optional<QString> choiceLabel(const PendingInteraction& interaction, qint64 index)
{
    if (index < 0 || index >= qint64(interaction.choices.size()))
        return std::nullopt;
    return PendingInteraction::normalize(interaction.choices[index].label);
}

QString headlineFor(const InteractionResponseIntent& intent, const PendingInteraction& interaction)
{
    using Kind = InteractionResponseIntent::Kind;
    switch (intent.kind) {
    case Kind::approve: return u"Allow Once"_s;
    case Kind::deny: return u"Deny"_s;
    case Kind::previewChoice:
    case Kind::selectChoice:
    case Kind::setChoice:
    case Kind::submitChoiceText:
        return choiceLabel(interaction, intent.index)
            .value_or(u"Option %1"_s.arg(intent.index + 1));
    case Kind::navigateToStep:
        if (intent.index >= 0 && intent.index < qint64(interaction.steps.size()))
            return PendingInteraction::normalize(interaction.steps[intent.index].label);
        return u"Step %1"_s.arg(intent.index + 1);
    case Kind::enterText: return u"Text typed"_s;
    case Kind::submitText: return u"Reply sent"_s;
    case Kind::beginTextEntry: return u"Text field"_s;
    case Kind::clearTextEntry: return u"Left the text field"_s;
    case Kind::navigatePrevious: return u"Previous step"_s;
    case Kind::navigateNext: return u"Next step"_s;
    case Kind::submit: return u"Submit"_s;
    case Kind::cancel: break;
    }
    return u"Cancel"_s;
}

} // namespace

SentReceipt SentReceipt::make(const InteractionResponseIntent& intent,
                              const PendingInteraction& interaction,
                              const std::vector<InteractionResponseOperation>& sent,
                              std::optional<QString> paneTitle)
{
    QStringList carried;
    for (const auto& operation : sent)
        carried << operation.description();
    const QString keys = carried.isEmpty() ? u"none"_s : carried.join(u", "_s);
    return SentReceipt{headlineFor(intent, interaction),
                       u"Keys: "_s + keys + u" \u00b7 fresh read matched before sending"_s,
                       u"Your answer reached the pane."_s, std::move(paneTitle)};
}

JSONValue SentReceipt::asJSONValue() const
{
    return RecordWriter()
        .set(u"headline"_s, headline)
        .set(u"detail"_s, detail)
        .set(u"footnote"_s, footnote)
        .set(u"paneTitle"_s, paneTitle)
        .value();
}
