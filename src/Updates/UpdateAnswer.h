#pragma once

#include "Updates/Appcast.h"

#include <QString>
#include <optional>

namespace mosaro {

// How an update check ended.
struct UpdateCheckAnswer {
    enum class Kind {
        upToDate,
        updateAvailable,
        failed,
    };
    Kind kind = Kind::upToDate;
    QString currentVersion;
    std::optional<AppcastItem> update; // with updateAvailable
    QString error;                     // with failed: one short sentence for the user
    friend bool operator==(const UpdateCheckAnswer&, const UpdateCheckAnswer&) = default;
};

// Shows an answer to the user: the service stays free of widgets.
class UpdateAnswerView {
public:
    virtual ~UpdateAnswerView() = default;
    // One window at a time: a new answer replaces one still open.
    virtual void showAnswer(const UpdateCheckAnswer& answer) = 0;
};

} // namespace mosaro
