#include "HerdrClient/Capture/PaneCaptureWriter.h"

#include "HerdrClient/Capture/CaptureFiles.h"

#include <QDir>
#include <QFileInfo>
#include <QTextBoundaryFinder>

using namespace Qt::StringLiterals;

namespace PaneCaptureWriter {

namespace {

// A user-perceived character is kept when it is a letter or digit, with any marks that
// combine with it; anything else (a colon, a slash, an emoji) is one "_".
bool isAlphanumericCharacter(QStringView cluster)
{
    bool first = true;
    for (const char32_t c : cluster.toUcs4()) {
        const auto category = QChar::category(c);
        const bool mark = category == QChar::Mark_NonSpacing
                          || category == QChar::Mark_SpacingCombining
                          || category == QChar::Mark_Enclosing;
        if (first ? !QChar::isLetterOrNumber(c) : !(mark || QChar::isLetterOrNumber(c)))
            return false;
        first = false;
    }
    return !first;
}

} // namespace

QString safeFileComponent(const QString& text)
{
    QString result;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype start = 0;
    for (qsizetype end = finder.toNextBoundary(); end != -1; end = finder.toNextBoundary()) {
        const QStringView cluster = QStringView(text).mid(start, end - start);
        start = end;
        if (cluster == u"-" || cluster == u"_" || cluster == u"."
            || isAlphanumericCharacter(cluster))
            result += cluster;
        else
            result += u'_';
    }
    return result.isEmpty() ? u"pane"_s : result;
}

QByteArray metadataBytes(const JSONValue& metadata)
{
    return CaptureFiles::canonicalJSON(metadata, true) + '\n';
}

std::expected<QString, PaneCaptureError> write(const PaneCaptureBundle& bundle,
                                               const QString& directory, bool overwrite)
{
    if (!QDir().mkpath(directory))
        return std::unexpected(
            PaneCaptureError::fileFailed(directory, u"could not create the directory"_s));
    const QString target = QFileInfo(QDir(directory).filePath(
                                         safeFileComponent(bundle.metadata.paneID) + u".capture"_s))
                               .absoluteFilePath();
    if (QFileInfo::exists(target) && !overwrite)
        return std::unexpected(PaneCaptureError::bundleAlreadyExists(target));

    const auto written = CaptureFiles::writeDirectoryAtomically(
        target,
        {{QString::fromLatin1(CaptureFiles::detectionFile), bundle.detectionText.toUtf8()},
         {QString::fromLatin1(CaptureFiles::visibleANSIFile), bundle.visibleANSIText.toUtf8()},
         {QString::fromLatin1(CaptureFiles::metadataFile),
          metadataBytes(bundle.metadata.asJSONValue())}},
        overwrite);
    if (!written) {
        // Another writer got there between our check and the rename.
        if (!overwrite && QFileInfo::exists(target))
            return std::unexpected(PaneCaptureError::bundleAlreadyExists(target));
        return std::unexpected(written.error());
    }
    return target;
}

} // namespace PaneCaptureWriter
