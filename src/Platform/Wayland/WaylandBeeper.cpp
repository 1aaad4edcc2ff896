#include "Platform/Wayland/WaylandBeeper.h"

#include "Diagnostics/Log/Log.h"

#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

namespace mosaro {

namespace {
constexpr const char* noPlayerMessage = "no sound player found for the bell (canberra-gtk-play, pw-play, paplay)";
constexpr const char* bellFile = "/usr/share/sounds/freedesktop/stereo/bell.oga";
} // namespace

QStringList WaylandBeeper::command()
{
    if (const QString canberra = QStandardPaths::findExecutable(QStringLiteral("canberra-gtk-play"));
        !canberra.isEmpty())
        return {canberra, QStringLiteral("--id=bell"), QStringLiteral("--description=Mosaro")};
    if (!QFileInfo::exists(QLatin1String(bellFile)))
        return {};
    for (const char* player : {"pw-play", "paplay"}) {
        if (const QString path = QStandardPaths::findExecutable(QLatin1String(player)); !path.isEmpty())
            return {path, QLatin1String(bellFile)};
    }
    return {};
}

void WaylandBeeper::beep()
{
    QStringList program = command();
    if (program.isEmpty()) {
        if (!m_reported)
            Log::lifecycle().info(noPlayerMessage);
        m_reported = true;
        return;
    }
    const QString executable = program.takeFirst();
    QProcess::startDetached(executable, program);
}

} // namespace mosaro
