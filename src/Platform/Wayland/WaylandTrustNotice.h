#pragma once

#include <QString>

#include <cstdio>
#include <functional>

namespace mosaro {

// Says once, when a compositor's channel stops being usable, why windows cannot be moved: in the
// log and on the notice stream (the terminal Mosaro was started from).
class WaylandTrustNotice {
public:
    explicit WaylandTrustNotice(std::FILE* notices) : m_notices(notices) {}
    // Returns `trusted`; `why` is asked only when trust turns into no.
    bool update(bool trusted, const std::function<QString()>& why);

private:
    std::FILE* m_notices;
    bool m_lastTrusted = true;
};

} // namespace mosaro
