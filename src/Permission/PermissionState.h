#pragma once

#include <QString>

namespace mosaro {

struct PermissionState {
    enum class Kind {
        denied,
        granted,
        notDetermined
    };
    Kind kind = Kind::notDetermined;
    bool canPromptAgain = false; // denied only

    static PermissionState denied(bool canPromptAgain) { return {Kind::denied, canPromptAgain}; }
    static PermissionState granted() { return {Kind::granted, false}; }
    static PermissionState notDetermined() { return {Kind::notDetermined, false}; }

    bool isGranted() const { return kind == Kind::granted; }

    friend bool operator==(const PermissionState& a, const PermissionState& b)
    {
        return a.kind == b.kind && (a.kind != Kind::denied || a.canPromptAgain == b.canPromptAgain);
    }
};

// "granted", "notDetermined", "denied(canPromptAgain: true)"
QString toString(const PermissionState& state);

} // namespace mosaro
