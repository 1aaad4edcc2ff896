#include "Updates/UpdaterController.h"

#include <gtest/gtest.h>

#include <vector>

using namespace mosaro;

namespace {

// A service whose state the test sets, recording what it is asked in order with the
// controller's announcements.
class ScriptedService : public UpdateService {
public:
    explicit ScriptedService(std::vector<QString>& events) : m_events(events) {}
    void start() override
    {
        m_events.push_back("start");
        canCheck = true;
    }
    bool canCheckForUpdates() const override { return canCheck; }
    void checkForUpdates() override { m_events.push_back("check"); }
    bool automaticallyChecksForUpdates() const override { return automatic; }
    void setAutomaticallyChecksForUpdates(bool enabled) override
    {
        m_events.push_back(enabled ? "set on" : "set off");
        automatic = enabled;
    }
    void report(bool can)
    {
        canCheck = can;
        Q_EMIT canCheckForUpdatesChanged(can);
    }

    bool canCheck = false;
    bool automatic = false;

private:
    std::vector<QString>& m_events;
};

TEST(UpdaterController, StartsTheServiceAndFollowsItsCanCheckValue)
{
    std::vector<QString> events;
    ScriptedService service(events);
    UpdaterController controller(service);
    EXPECT_EQ(events, std::vector<QString>{"start"});
    EXPECT_TRUE(controller.canCheckForUpdates()); // the value current at construction

    std::vector<bool> published;
    QObject::connect(&controller, &UpdaterController::canCheckForUpdatesChanged,
                     [&](bool can) { published.push_back(can); });
    service.report(false);
    service.report(false); // an equal value notifies nobody
    service.report(true);
    EXPECT_EQ(published, (std::vector<bool>{false, true}));
    EXPECT_TRUE(controller.canCheckForUpdates());
}

TEST(UpdaterController, ForwardsChecksAndAnnouncesSettingChangesFirst)
{
    std::vector<QString> events;
    ScriptedService service(events);
    UpdaterController controller(service);
    QObject::connect(&controller, &UpdaterController::objectWillChange,
                     [&] { events.push_back(service.automatic ? "will change from on" : "will change from off"); });

    controller.checkForUpdates();
    controller.setAutomaticallyChecksForUpdates(true);
    EXPECT_TRUE(controller.automaticallyChecksForUpdates()); // read back from the service
    EXPECT_EQ(events, (std::vector<QString>{"start", "check", "will change from off", "set on"}));
}

} // namespace
