#include "Platform/Wayland/WaylandTrustNotice.h"

#include "Diagnostics/Log/Log.h"

namespace mosaro {

namespace {
constexpr const char* untrustedMessage = "windows cannot be moved: %{public}s";
} // namespace

bool WaylandTrustNotice::update(bool trusted, const std::function<QString()>& why)
{
    if (!trusted && m_lastTrusted) {
        const QString notice = why();
        Log::permission().info(untrustedMessage, notice);
        if (m_notices) {
            std::fprintf(m_notices, "mosaro: %s\n", qPrintable(notice));
            std::fflush(m_notices);
        }
    }
    m_lastTrusted = trusted;
    return trusted;
}

} // namespace mosaro
