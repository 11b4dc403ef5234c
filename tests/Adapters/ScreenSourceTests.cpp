// Every claude and pi screen source of the fixture corpus, read by the standard readers and
// compared with its annotations.
#include "HerdrClient/Interaction/PromptClassifier.h"
#include "tests/Adapters/AdapterTestSupport.h"

#include <QDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

std::optional<QString> optionalString(const JSONValue& annotations, QStringView key)
{
    const JSONValue* value = annotations.member(key);
    return value ? value->stringValue() : std::nullopt;
}

QStringList strings(const JSONValue& annotations, QStringView key)
{
    QStringList result;
    if (const JSONValue* value = annotations.member(key); value && value->arrayValue()) {
        for (const auto& element : *value->arrayValue())
            result.push_back(element.stringValue().value_or(QString()));
    }
    return result;
}

// The annotations write progress as "current/total (N unanswered)", "?" for an unknown part.
std::optional<QString> progressText(const std::optional<InteractionProgress>& progress)
{
    if (!progress)
        return std::nullopt;
    const auto part = [](const std::optional<qint64>& v) { return v ? QString::number(*v) : u"?"_s; };
    QString text = part(progress->current) + u"/"_s + part(progress->total);
    if (progress->unanswered)
        text += u" (%1 unanswered)"_s.arg(*progress->unanswered);
    return text;
}

// What every reader promises, whatever the screen.
void expectInvariants(const PendingInteraction& reading, const std::string& name)
{
    const auto& presentation = reading.presentation;
    if (presentation.selectedChoiceIndex) {
        EXPECT_GE(*presentation.selectedChoiceIndex, 0) << name;
        EXPECT_LT(*presentation.selectedChoiceIndex, qint64(reading.choices.size())) << name;
    }
    if (presentation.activeStepIndex) {
        EXPECT_LT(*presentation.activeStepIndex, qint64(reading.steps.size())) << name;
    }
    EXPECT_TRUE(std::is_sorted(presentation.checkedChoiceIndexes.begin(), presentation.checkedChoiceIndexes.end())) << name;
    for (const auto index : presentation.checkedChoiceIndexes)
        EXPECT_LT(index, qint64(reading.choices.size())) << name;
    EXPECT_EQ(reading.safetyState, InteractionSafetyState::fresh) << name;
    EXPECT_FALSE(reading.interactionID) << name;
    if (reading.kind == InteractionKind::unknown) {
        EXPECT_TRUE(reading.choices.empty()) << name;
        EXPECT_TRUE(reading.steps.empty()) << name;
        EXPECT_FALSE(reading.title) << name;
        EXPECT_EQ(presentation.mechanism, InteractionMechanism::manual) << name;
        EXPECT_EQ(reading.capabilities, std::set{InteractionCapability::manualTerminal}) << name;
        EXPECT_EQ(reading.evidence.confidence, InteractionConfidence::fallback) << name;
    } else {
        EXPECT_FALSE(reading.choices.empty()) << name;
        EXPECT_EQ(reading.evidence.confidence, InteractionConfidence::exact) << name;
        EXPECT_FALSE(reading.capabilities.contains(InteractionCapability::manualTerminal)) << name;
    }
}

} // namespace

TEST(ScreenSources, ReadAsAnnotated)
{
    const QDir root(QStringLiteral(ORREL_SCREEN_SOURCES));
    const QStringList names = root.entryList({u"claude-*"_s, u"pi-*"_s}, QDir::Dirs);
    ASSERT_GE(names.size(), 20);
    const PromptClassifier classifier(ScreenAdapterRegistry::standard());
    for (const QString& name : names) {
        const std::string label = name.toStdString();
        QFile agentFile(root.filePath(name + u"/agent"_s));
        QFile annotationsFile(root.filePath(name + u"/annotations.json"_s));
        ASSERT_TRUE(agentFile.open(QIODevice::ReadOnly)) << label;
        ASSERT_TRUE(annotationsFile.open(QIODevice::ReadOnly)) << label;
        const QString agent = QString::fromUtf8(agentFile.readAll()).trimmed();
        const auto annotations = JSONValue::parse(annotationsFile.readAll());
        ASSERT_TRUE(annotations) << label;
        EXPECT_EQ(optionalString(*annotations, u"name"), name);

        const auto reading = classifier.registry().parse(inputFor(agent, loadScreenSource(name)));
        expectInvariants(reading, label);
        EXPECT_EQ(toString(reading.kind), optionalString(*annotations, u"interaction_kind")) << label;
        EXPECT_EQ(reading.title, optionalString(*annotations, u"title")) << label;
        EXPECT_EQ(progressText(reading.progress), optionalString(*annotations, u"progress")) << label;
        QStringList labels;
        QStringList descriptions;
        for (const auto& choice : reading.choices) {
            labels.push_back(choice.label);
            descriptions.push_back(choice.description.value_or(QString()));
        }
        EXPECT_EQ(labels, strings(*annotations, u"option_labels")) << label;
        EXPECT_EQ(descriptions, strings(*annotations, u"option_descriptions")) << label;
        EXPECT_EQ(reading.presentation.selectedChoicePreview,
                  optionalString(*annotations, u"selected_choice_preview")) << label;
        const JSONValue* cursor = annotations->member(u"observed_cursor_index");
        EXPECT_EQ(reading.presentation.selectedChoiceIndex, cursor ? cursor->intValue() : std::nullopt) << label;
        std::vector<qint64> checked;
        if (const JSONValue* list = annotations->member(u"observed_checked_indexes"); list && list->arrayValue()) {
            for (const auto& element : *list->arrayValue())
                checked.push_back(element.intValue().value_or(-1));
        }
        EXPECT_EQ(reading.presentation.checkedChoiceIndexes, checked) << label;
        EXPECT_EQ(toString(reading.presentation.mechanism), optionalString(*annotations, u"response_mechanism")) << label;
        EXPECT_EQ(reading.evidence.agentID, agent) << label;
        EXPECT_EQ(reading.evidence.paneRevision, 7) << label;
    }
}
