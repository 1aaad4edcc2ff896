#include "support/SettingsWindowFixture.h"

namespace mosaro::test {

UrlCatcher::UrlCatcher()
{
    QDesktopServices::setUrlHandler(QStringLiteral("https"), this, "open");
}

UrlCatcher::~UrlCatcher()
{
    QDesktopServices::unsetUrlHandler(QStringLiteral("https"));
}

} // namespace mosaro::test
