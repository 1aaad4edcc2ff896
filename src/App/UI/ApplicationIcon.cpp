#include "App/UI/ApplicationIcon.h"

// The icons live in this library's resources, which a static link drops unless asked for.
static void initResources()
{
    Q_INIT_RESOURCE(app_ui);
}

namespace mosaro {

QIcon applicationIcon()
{
    initResources();
    // Rendered sizes rather than the SVG: they are drawn for their size, and need no SVG support.
    QIcon icon;
    for (const int size : {16, 22, 24, 32, 48, 64, 128, 256})
        icon.addFile(QStringLiteral(":/icons/mosaro-%1.png").arg(size), QSize(size, size));
    return icon;
}

} // namespace mosaro
