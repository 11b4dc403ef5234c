// Writes the program's icons into an icon theme folder, for the package: the application's
// icon as SVG and at the usual PNG sizes, and every tray status icon in each of its styles.
#include "OrrelApp/Shell/IconArt.h"

#include <QDir>
#include <QFile>
#include <QTextStream>

namespace {

bool writeText(const QString& path, const QString& text)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    return file.write(text.toUtf8()) >= 0 && file.flush();
}

bool writePNG(const QString& path, const QImage& image)
{
    QDir().mkpath(QFileInfo(path).path());
    return image.save(path, "PNG");
}

} // namespace

int main(int argc, char* argv[])
{
    QTextStream err(stderr);
    if (argc != 2) {
        err << "usage: orrel-icons DIRECTORY\n";
        return 2;
    }
    const QString theme = QString::fromLocal8Bit(argv[1]) + QStringLiteral("/hicolor/");
    const QString appName = QStringLiteral("dev.orrelsentry.OrrelSentry");
    const IconArt app = applicationIconArt();
    bool ok = writeText(theme + QStringLiteral("scalable/apps/") + appName + QStringLiteral(".svg"),
                        app.svg());
    for (const int side : {16, 22, 24, 32, 48, 64, 128, 256, 512}) {
        const QString size = QStringLiteral("%1x%1").arg(side);
        ok = ok
             && writePNG(theme + size + QStringLiteral("/apps/") + appName + QStringLiteral(".png"),
                         app.image(side));
    }
    for (const auto status : {RollupStatus::blocked, RollupStatus::working, RollupStatus::done,
                              RollupStatus::idle, RollupStatus::unknown}) {
        for (const auto style :
             {TrayIconStyle::color, TrayIconStyle::darkPanel, TrayIconStyle::lightPanel}) {
            ok = ok
                 && writeText(theme + QStringLiteral("scalable/status/")
                                  + statusIconName(status, style) + QStringLiteral(".svg"),
                              statusIconArt(status, style).svg());
        }
    }
    if (!ok) {
        err << "orrel-icons: could not write the icons under " << theme << '\n';
        return 1;
    }
    return 0;
}
