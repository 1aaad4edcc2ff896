// Mosaro's session script, loaded at Mosaro's start and unloaded at its exit.
//
// A KWin script cannot be called over D-Bus, so it calls Mosaro: `next` carries the answer to the
// previous request and Mosaro replies to it with the next request when it has one (a delayed
// reply; an "idle" request before D-Bus's 25-second timeout keeps the call alive). The trigger
// and the session's dismissals are calls of their own.

var stopped = false;

function poll(answerText)
{
    if (stopped)
        return;
    callMosaro("next", answerText, function (requestText) {
        var request = parse(requestText);
        if (request && request.op === "stop") {
            stopped = true;
            return;
        }
        handle(requestText, poll);
    });
}

function notify(dismissal)
{
    callMosaro("dismissal", JSON.stringify({dismissal: dismissal}));
}

// Mosaro's system-wide shortcuts, each calling back with the window that has the keyboard now: the
// panel becomes the active window once it shows, so the target is fixed here.
mosaroConfig.shortcuts.forEach(function (shortcut) {
    registerShortcut(shortcut.name, shortcut.text, shortcut.keys, function () {
        callMosaro("trigger", JSON.stringify({shortcut: shortcut.name, window: describe(activeWindow()),
                                              outputs: outputs()}));
    });
});

// The dismissals: the panel losing the keyboard, a desktop switch, a change of outputs.
var panelWasActive = isPanel(activeWindow());
(kwin6 ? workspace.windowActivated : workspace.clientActivated).connect(function (w) {
    if (panelWasActive && !isPanel(w))
        notify("panelDeactivated");
    panelWasActive = !!isPanel(w);
});
workspace.currentDesktopChanged.connect(function () {
    notify("desktop");
});
if (kwin6) {
    // 6 announces an output's new geometry on the output alone.
    var watched = [];
    var watchOutputs = function () {
        var screens = workspace.screens;
        for (var i = 0; i < screens.length; ++i) {
            if (watched.indexOf(screens[i]) < 0) {
                watched.push(screens[i]);
                screens[i].geometryChanged.connect(function () {
                    notify("outputs");
                });
            }
        }
    };
    watchOutputs();
    workspace.screensChanged.connect(function () {
        watchOutputs();
        notify("outputs");
    });
} else {
    workspace.numberScreensChanged.connect(function () {
        notify("outputs");
    });
    workspace.screenResized.connect(function () {
        notify("outputs");
    });
}
workspace.virtualScreenGeometryChanged.connect(function () {
    notify("outputs");
});

poll(JSON.stringify({hello: {kwin6: kwin6, outputs: outputs()}}));
