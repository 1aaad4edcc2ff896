#pragma once

#include "Permission/OnboardingPresenter.h"
#include "Platform/NotificationCenter.h"

#include <QPointer>
#include <QWidget>

namespace mosaro {

// The welcome window: what the access is for, what Mosaro does not do, and two buttons.
class OnboardingWidget : public QWidget {
    Q_OBJECT
public:
    explicit OnboardingWidget(QWidget* parent = nullptr);

Q_SIGNALS:
    void continueClicked();
    void skipClicked();
    void willClose();

protected:
    void closeEvent(QCloseEvent* event) override;
};

class QtOnboardingWindow final : public OnboardingWindow {
public:
    explicit QtOnboardingWindow(NotificationCenter& center);
    ~QtOnboardingWindow() override;
    void show() override;
    void close() override;
    QWidget* widget() const { return m_widget; }

private:
    NotificationCenter& m_center;
    QPointer<OnboardingWidget> m_widget;
};

class QtOnboardingWindowFactory final : public OnboardingWindowFactory {
public:
    explicit QtOnboardingWindowFactory(NotificationCenter& center) : m_center(center) {}
    std::unique_ptr<OnboardingWindow> makeOnboardingWindow() override
    {
        return std::make_unique<QtOnboardingWindow>(m_center);
    }

private:
    NotificationCenter& m_center;
};

} // namespace mosaro
