#include "OrrelApp/Platform/IniSettingsGuard.h"

#include "HerdrClient/Support/SaveFileCommit.h"

#include <QFile>
#include <QList>
#include <QSaveFile>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr QStringView variantMark = u"@Variant(";
constexpr QStringView dateMark = u"@DateTime(";

bool isOctal(QChar c)
{
    return c >= u'0' && c <= u'7';
}

bool isHex(QChar c)
{
    return c.isDigit() || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
}

// A value as QSettings reads it: quotes only group, and C escapes stand for their character.
// Absent for an escape QSettings would read otherwise.
std::optional<QString> unescaped(QStringView raw)
{
    QString out;
    for (qsizetype i = 0; i < raw.size(); ++i) {
        const QChar c = raw[i];
        if (c == u'"')
            continue;
        if (c != u'\\') {
            out += c;
            continue;
        }
        if (++i >= raw.size())
            return std::nullopt;
        const QChar e = raw[i];
        static constexpr QStringView simple = u"abfnrtv\"'?\\";
        static constexpr QStringView meaning = u"\a\b\f\n\r\t\v\"'?\\";
        if (const qsizetype at = simple.indexOf(e); at >= 0) {
            out += meaning[at];
        } else if (e == u'x' || isOctal(e)) {
            // QSettings escapes a digit that follows an escape, so a longer run than one code
            // needs is not its own writing and may read otherwise.
            const bool hex = e == u'x';
            const qsizetype from = hex ? i + 1 : i;
            qsizetype end = from;
            while (end < raw.size() && (hex ? isHex(raw[end]) : isOctal(raw[end])))
                ++end;
            if (end == from || end - from > (hex ? 4 : 3))
                return std::nullopt;
            out += QChar(char16_t(raw.sliced(from, end - from).toUInt(nullptr, hex ? 16 : 8)));
            i = end - 1;
        } else {
            return std::nullopt;
        }
    }
    return out;
}

quint64 bigEndian(const QByteArray& bytes, qsizetype from, qsizetype count)
{
    quint64 value = 0;
    for (qsizetype i = from; i < from + count; ++i)
        value = value << 8 | quint8(bytes[i]);
    return value;
}

// QSettings writes a date as a streamed QVariant: the type QDateTime (16), not null, the day and
// the milliseconds, then the kind of time: local (0) or UTC (1) end there, an offset (2) adds its
// four bytes. A time zone, or anything else, carries lengths and is not let through.
bool isOwnDate(QStringView payload)
{
    QByteArray bytes;
    for (const QChar c : payload) {
        if (c.unicode() > 0xff)
            return false;
        bytes += char(c.unicode());
    }
    if (bytes.size() != 18 && bytes.size() != 22)
        return false;
    const quint64 spec = bigEndian(bytes, 17, 1);
    return bigEndian(bytes, 0, 4) == 16 && bytes[4] == 0
           && (bytes.size() == 18 ? spec <= 1 : spec == 2);
}

bool isSafeValue(QStringView raw)
{
    const auto value = unescaped(raw);
    if (!value)
        return false;
    if (value->contains(variantMark))
        return false;
    const qsizetype date = value->indexOf(dateMark);
    if (date < 0)
        return true;
    const QStringView whole = QStringView(*value).trimmed();
    return whole.startsWith(dateMark) && whole.endsWith(u')') && whole.indexOf(dateMark, 1) < 0
           && isOwnDate(whole.sliced(dateMark.size(), whole.size() - dateMark.size() - 1));
}

std::optional<QString> keepAside(const QString& path, const QByteArray& found)
{
    QSaveFile aside(path + u".damaged"_s);
    if (!aside.open(QIODevice::WriteOnly) || aside.write(found) != found.size())
        return aside.errorString();
    if (auto committed = commitSaveFile(aside); !committed)
        return committed.error();
    return std::nullopt;
}

} // namespace

namespace IniSettingsGuard {

std::optional<QByteArray> withoutUnsafeValues(const QByteArray& text)
{
    const QList<QByteArray> lines = text.split('\n');
    QByteArray kept;
    bool dropped = false;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QByteArray& line = lines[i];
        const qsizetype equals = line.indexOf('=');
        const QString raw = QString::fromUtf8(equals < 0 ? QByteArray() : line.sliced(equals + 1));
        if (equals >= 0 && !line.trimmed().startsWith(';') && !isSafeValue(raw)) {
            dropped = true;
            continue;
        }
        kept += line;
        if (i + 1 < lines.size())
            kept += '\n';
    }
    return dropped ? std::optional(kept) : std::nullopt;
}

std::optional<QString> guard(const QString& path)
{
    QFile file(path);
    if (!file.exists())
        return std::nullopt;
    if (file.size() > maxFileBytes) {
        QFile::remove(path + u".damaged"_s);
        if (!file.rename(path + u".damaged"_s))
            return file.errorString();
        return u"it was larger than %1 bytes and is kept as %2.damaged"_s.arg(maxFileBytes)
            .arg(path);
    }
    if (!file.open(QIODevice::ReadOnly))
        return file.errorString();
    // Sized by the file, not by the bound: a settings file is a few hundred bytes.
    const QByteArray found = file.read(std::min(file.size(), maxFileBytes) + 1);
    file.close();
    const auto mended = withoutUnsafeValues(found);
    if (!mended)
        return std::nullopt;
    if (auto failed = keepAside(path, found))
        return failed;
    QSaveFile out(path);
    if (!out.open(QIODevice::WriteOnly) || out.write(*mended) != mended->size())
        return out.errorString();
    if (auto committed = commitSaveFile(out); !committed)
        return committed.error();
    return u"values it could not read safely were dropped; the file as it was is kept as %1.damaged"_s
        .arg(path);
}

} // namespace IniSettingsGuard
