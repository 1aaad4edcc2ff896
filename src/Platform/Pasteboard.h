#pragma once

#include <QString>

namespace mosaro {

// The desktop's clipboard for plain text.
class Pasteboard {
public:
    virtual ~Pasteboard() = default;
    virtual void clearContents() = 0;
    // Replaces whatever the clipboard holds with the text.
    virtual void setString(const QString& text) = 0;
};

} // namespace mosaro
