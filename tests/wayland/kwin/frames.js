// The tests' own read-only view of KWin: every window's frame and state, the active window and
// each output's areas, printed once as JSON into KWin's log after a mark the loader writes before
// this text (`var mark = "…";`).

var kwin6 = "activeWindow" in workspace;
var active = kwin6 ? workspace.activeWindow : workspace.activeClient;
var list = kwin6 ? workspace.windowList() : workspace.clientList();
var desktop = workspace.currentDesktop;

function rect(g)
{
    return {x: g.x, y: g.y, width: g.width, height: g.height};
}

var windows = [];
for (var i = 0; i < list.length; ++i) {
    var w = list[i];
    windows.push({id: String(w.internalId), caption: String(w.caption), pid: w.pid, resourceClass: String(w.resourceClass),
                  frame: rect(w.frameGeometry), active: w === active, keepAbove: w.keepAbove, noBorder: w.noBorder,
                  minimized: w.minimized, fullScreen: w.fullScreen, desktopWindow: w.desktopWindow, dock: w.dock});
}
var outputs = [];
var screens = kwin6 ? workspace.screens : [];
var count = kwin6 ? screens.length : workspace.numScreens;
for (var n = 0; n < count; ++n) {
    var screen = kwin6 ? screens[n] : n;
    outputs.push({frame: rect(workspace.clientArea(KWin.ScreenArea, screen, desktop)),
                  placement: rect(workspace.clientArea(KWin.PlacementArea, screen, desktop)),
                  maximize: rect(workspace.clientArea(KWin.MaximizeArea, screen, desktop))});
}
print(mark + JSON.stringify({kwin6: kwin6, windows: windows, outputs: outputs}));
