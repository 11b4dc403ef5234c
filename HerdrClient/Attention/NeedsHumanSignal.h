#pragma once

#include "HerdrClient/Attention/HardFloorVerdict.h"
#include "HerdrClient/Support/Environment.h"
#include "HerdrClient/Wire/JSONDecoding.h"

#include <QByteArrayView>
#include <QString>

#include <map>
#include <optional>
#include <vector>

// One ask of an agent for the person, as its extension publishes it: the pane token "nh" says
// that it asks, an ask file says what. The token is trusted for the fact of asking; the file only
// adds detail, and a file that is wrong in any way is ignored so that its text is never shown.
struct NeedsHumanSignal {
    enum class Kind { question, approval, escalation };

    // A hard floor the agent declared for its own ask.
    struct Floor {
        bool isFloor = false;
        std::optional<HardFloorVerdict::Category> category;
        std::optional<QString> target;
        std::optional<QString> reason;
        std::optional<QString> command;

        // A boolean, a category word or an object; never fails, at worst `isFloor` is false.
        static Floor decode(const JSONValue& value);
        // The object form.
        JSONValue asJSONValue() const;
        // "prod…"/"deploy", "money…"/"…charge…"/"…payment…", "destruct…"/"…delete…",
        // "secur…"/"…credential…", in that order, ignoring case.
        static std::optional<HardFloorVerdict::Category> categoryFromWord(const QString& word);

        bool operator==(const Floor&) const = default;
    };

    qint64 v = 1;
    QString id;
    Kind kind = Kind::question;
    QString q;
    std::optional<QString> header;
    std::optional<std::vector<QString>> options;
    std::optional<qint64> rec;
    // When the ask began, as the extension writes it (milliseconds since 1970).
    double since = 0;
    std::optional<QString> onBehalfOf;
    std::optional<QString> pane;
    std::optional<Floor> floor;

    static constexpr qint64 maximumFileSize = 16384;
    static constexpr qsizetype maximumTokenSize = 80;

    // The ask of a pane, from its tokens and, when `loadDetails` is set, its ask file in
    // `directory`. Absent when the pane does not ask; the bare token's ask when the file is
    // missing or not to be trusted.
    static std::optional<NeedsHumanSignal> decode(
        const std::optional<std::map<QString, QString>>& tokens,
        const std::optional<QString>& paneID, const QString& directory, bool loadDetails);

    // The ask file's bytes for ask `id`, when they hold an ask of that id that can be trusted.
    static std::optional<NeedsHumanSignal> fromAskFile(QByteArrayView data, const QString& id,
                                                       const std::optional<QString>& paneID);

    // The ask id named by an "nh" token value, when the value is well formed.
    static std::optional<QString> idFromToken(const QString& token);

    // ".pi/agent/orrel/asks" under the home directory of `environment`.
    static QString asksDirectory(const Environment& environment);

    // Strict: every required key present with its type; optional keys of a wrong type fail too.
    static Decoded<NeedsHumanSignal> fromJSON(const JSONValue& value);
    JSONValue asJSONValue() const;

    bool operator==(const NeedsHumanSignal&) const = default;
};

QString toString(NeedsHumanSignal::Kind kind);

template <>
struct JSONCoding<NeedsHumanSignal::Kind> {
    static Decoded<NeedsHumanSignal::Kind> decode(const JSONValue& value);
    static JSONValue encode(NeedsHumanSignal::Kind kind) { return JSONValue(toString(kind)); }
};

template <>
struct JSONCoding<NeedsHumanSignal::Floor> {
    static Decoded<NeedsHumanSignal::Floor> decode(const JSONValue& value)
    {
        return NeedsHumanSignal::Floor::decode(value);
    }
    static JSONValue encode(const NeedsHumanSignal::Floor& floor) { return floor.asJSONValue(); }
};
