#include "HerdrClient/Capture/PaneFixtureAnnotations.h"

using namespace Qt::StringLiterals;

Decoded<PaneFixtureAnnotations> PaneFixtureAnnotations::decode(const JSONValue& value)
{
    RecordReader r(value);
    PaneFixtureAnnotations a;
    a.name = r.required<QString>(u"name");
    a.interactionKind = r.required<QString>(u"interaction_kind");
    a.progress = r.optional<QString>(u"progress");
    a.title = r.optional<QString>(u"title");
    a.optionLabels =
        r.optional<std::vector<QString>>(u"option_labels").value_or(std::vector<QString>{});
    a.optionDescriptions =
        r.optional<std::vector<QString>>(u"option_descriptions").value_or(std::vector<QString>{});
    a.selectedChoicePreview = r.optional<QString>(u"selected_choice_preview");
    a.observedCursorIndex = r.optional<qint64>(u"observed_cursor_index");
    a.observedCheckedIndexes = r.optional<std::vector<qint64>>(u"observed_checked_indexes")
                                   .value_or(std::vector<qint64>{});
    a.responseMechanism = r.required<QString>(u"response_mechanism");
    a.expectedResponsePlans =
        r.optional<std::map<QString, std::vector<QString>>>(u"expected_response_plans")
            .value_or(std::map<QString, std::vector<QString>>{});
    a.manifestRule = r.optional<QString>(u"manifest_rule");
    a.notes = r.optional<std::vector<QString>>(u"notes").value_or(std::vector<QString>{});
    return r.finish(a);
}

JSONValue PaneFixtureAnnotations::asJSONValue() const
{
    return RecordWriter()
        .set(u"name"_s, name)
        .set(u"interaction_kind"_s, interactionKind)
        .set(u"progress"_s, progress)
        .set(u"title"_s, title)
        .set(u"option_labels"_s, optionLabels)
        .set(u"option_descriptions"_s, optionDescriptions)
        .set(u"selected_choice_preview"_s, selectedChoicePreview)
        .set(u"observed_cursor_index"_s, observedCursorIndex)
        .set(u"observed_checked_indexes"_s, observedCheckedIndexes)
        .set(u"response_mechanism"_s, responseMechanism)
        .set(u"expected_response_plans"_s, expectedResponsePlans)
        .set(u"manifest_rule"_s, manifestRule)
        .set(u"notes"_s, notes)
        .value();
}
