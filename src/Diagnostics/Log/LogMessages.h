#pragma once

// Every message the system logs, by category. Formats are the texts the log shows.
namespace mosaro::LogMessages {

// lifecycle
inline constexpr const char* didFinishLaunching = "applicationDidFinishLaunching — wiring up presenter";
inline constexpr const char* presenterStarted = "presenter.start() called; trigger hotkey should be live";
inline constexpr const char* willTerminate = "applicationWillTerminate — tearing down presenter";
inline constexpr const char* registeredLoginItem = "Registered Mosaro as a login item";
inline constexpr const char* unregisteredLoginItem = "Unregistered Mosaro as a login item";
inline constexpr const char* loginItemFailed = "Failed to set launch-at-login to %{bool}d: %s";
// lifecycle: update checks ("manual" or "automatic" first)
inline constexpr const char* updateCheckStarted = "%{public}s update check: %{public}s";
inline constexpr const char* updateCheckBusy = "update check requested while one is running — ignored";
inline constexpr const char* updateAvailable =
    "%{public}s update check: version %{public}s available (running %{public}s)";
inline constexpr const char* updateUpToDate = "%{public}s update check: up to date (running %{public}s)";
inline constexpr const char* updateCheckFailed = "%{public}s update check failed: %{public}s";
// The standard-output line of a refused hotkey, kept where a desktop session can find it.
inline constexpr const char* hotkeyRefused = "Error registering hotkey %{public}s: %d (%{public}s)";

// overlay
inline constexpr const char* presenterStart = "OverlayPresenter.start — subscribing to trigger";
inline constexpr const char* triggerWhileVisible = "trigger while visible — dismissing";
inline constexpr const char* triggerBlockedPermission = "trigger blocked: permission %s";
inline constexpr const char* axPermissionMissing = "AX permission missing at resolve time";
inline constexpr const char* resolveFailed = "resolve failed: %s";
inline constexpr const char* noFocusedWindow = "no focused window resolved — beeping";
inline constexpr const char* notTileable = "trigger blocked: window not tileable (fullscreen=%{bool,public}d "
                                           "minimized=%{bool,public}d resizable=%{bool,public}d)";
inline constexpr const char* overlayShow = "overlay show: window=%{private}s display=%s";
inline constexpr const char* panelPresented =
    "panel presented: frame=%s isKey=%{bool,public}d isVisible=%{bool,public}d screen=%{public}s";
inline constexpr const char* keyDown = "keyDown keyCode=%hu shift=%{bool}d cmd=%{bool}d opt=%{bool}d → %s";
inline constexpr const char* commitMove = "commit move: window=%{private}s → %s";
inline constexpr const char* commitNotResizable = "commit failed: window not resizable (%s)";
inline constexpr const char* commitFailed = "commit failed: %s";
inline constexpr const char* crossDisplayJump = "cross-display jump (%{public}s): %{public}s → %{public}s";
inline constexpr const char* crossDisplaySingle = "cross-display jump requested but only one display is connected";
inline constexpr const char* persistedGlobalResize = "persisted global resize: %ld×%ld";
inline constexpr const char* persistedDisplayResize = "persisted resize for display '%{public}s': %ld×%ld";
inline constexpr const char* persistResizeFailed = "failed to persist resize: %s";
inline constexpr const char* overlayDismiss = "overlay dismiss";
inline constexpr const char* spaceChanged = "active space changed while overlay visible — dismissing";
inline constexpr const char* displaysChanged = "display configuration changed while overlay visible — dismissing";
inline constexpr const char* resignedKey = "overlay resigned key (focus lost) — dismissing";

// permission
inline constexpr const char* permissionState = "permission state → %{public}s";

// preferences
inline constexpr const char* migratingV1 = "Migrating preferences v1 → v2";
inline constexpr const char* unknownVersion = "Unknown preferences version %ld; returning defaults";
inline constexpr const char* newerVersion =
    "preferences schemaVersion=%ld is newer than supported (%ld); using defaults without overwriting file";
inline constexpr const char* persistFailed = "Failed to persist preferences: %s";
// Before a write replaces a file that did not load as a version-2 document.
inline constexpr const char* keptUnloadedPreferences =
    "kept the preferences file that did not load as %{public}s before replacing it (%{public}s)";
inline constexpr const char* keptMigratedPreferences =
    "kept the version %ld preferences file as %{public}s before replacing it with version 2";
inline constexpr const char* keepPreferencesFailed = "could not keep a copy of the preferences file that did not load "
                                                     "(%{public}s) before replacing it: %{public}s %s: %{public}s; "
                                                     "replacing it anyway";

// windowmanager
inline constexpr const char* noFrontmostApp = "resolve nil: no frontmost application";
inline constexpr const char* selfFrontmost = "resolve nil: Mosaro itself is frontmost";
inline constexpr const char* noAXFocusedWindow = "resolve nil: frontmost app has no AX focused window";
inline constexpr const char* frameUnreadable = "resolve nil: window frame unreadable";
inline constexpr const char* axSetFailed = "AX set %{public}s failed: %d";
inline constexpr const char* restoringFrame = "move failed mid-sequence — restoring original frame";

// onboarding
inline constexpr const char* showingOnboarding = "showing onboarding — permission not granted";
inline constexpr const char* onboardingSkipped = "onboarding skipped — permission already granted";

// perf signposts and their end messages
inline constexpr const char* showOverlayInterval = "sc-001 show-overlay";
inline constexpr const char* highlightUpdateInterval = "sc-002 highlight-update";
inline constexpr const char* commitMoveInterval = "sc-002a commit-move";

} // namespace mosaro::LogMessages
