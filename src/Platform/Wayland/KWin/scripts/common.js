// What Mosaro's KWin scripts share: the names that differ between KWin 5.27 and 6, the window and
// output records sent to Mosaro, and the requests Mosaro makes. Mosaro writes a script file as
//   var mosaroConfig = {...};   (its bus name, object path, interface, pid, panel caption, shortcuts)
// followed by this text and the text of session.js (or request.js). Everything crossing D-Bus is
// one JSON text, so that no value depends on how KWin turns script values into D-Bus types.

var kwin6 = "activeWindow" in workspace; // 6 renamed clients to windows and screens to outputs

function activeWindow()
{
    return kwin6 ? workspace.activeWindow : workspace.activeClient;
}

function activate(w)
{
    if (kwin6)
        workspace.activeWindow = w;
    else
        workspace.activeClient = w;
}

function allWindows()
{
    return kwin6 ? workspace.windowList() : workspace.clientList();
}

function windowAdded()
{
    return kwin6 ? workspace.windowAdded : workspace.clientAdded;
}

function findWindow(id)
{
    var list = allWindows();
    for (var i = 0; i < list.length; ++i) {
        if (String(list[i].internalId) === id)
            return list[i];
    }
    return null;
}

function rect(g)
{
    return {x: g.x, y: g.y, width: g.width, height: g.height};
}

function sameRect(a, b)
{
    return a.x === b.x && a.y === b.y && a.width === b.width && a.height === b.height;
}

function currentDesktop()
{
    return workspace.currentDesktop; // a number in 5.27, an object in 6: clientArea takes either
}

// Outputs in KWin's order, each with its whole frame and the area panels leave.
function outputs()
{
    var list = [];
    if (kwin6) {
        var screens = workspace.screens;
        for (var i = 0; i < screens.length; ++i) {
            var o = screens[i];
            list.push({name: String(o.name), manufacturer: String(o.manufacturer), model: String(o.model),
                       frame: rect(o.geometry),
                       visible: rect(workspace.clientArea(KWin.PlacementArea, o, currentDesktop()))});
        }
    } else {
        // 5.27 gives scripts screen numbers only: no names; Mosaro matches outputs by frame.
        for (var n = 0; n < workspace.numScreens; ++n) {
            list.push({frame: rect(workspace.clientArea(KWin.ScreenArea, n, currentDesktop())),
                       visible: rect(workspace.clientArea(KWin.PlacementArea, n, currentDesktop()))});
        }
    }
    return list;
}

function outputIndex(w)
{
    if (!kwin6)
        return w.screen;
    var screens = workspace.screens;
    for (var i = 0; i < screens.length; ++i) {
        if (screens[i] === w.output)
            return i;
    }
    return -1;
}

function describe(w)
{
    if (!w)
        return null;
    return {id: String(w.internalId), caption: String(w.caption), pid: w.pid, resourceClass: String(w.resourceClass),
            frame: rect(w.frameGeometry), fullScreen: w.fullScreen, minimized: w.minimized,
            resizeable: w.resizeable, moveable: w.moveable, normal: w.normalWindow, output: outputIndex(w)};
}

function isPanel(w)
{
    return w && w.pid === mosaroConfig.pid && String(w.caption) === mosaroConfig.panelCaption;
}

// The newest: a panel shown again at once (on another display) may meet its former window still
// on its way out.
function findPanel()
{
    var list = allWindows();
    for (var i = list.length - 1; i >= 0; --i) {
        if (isPanel(list[i]))
            return list[i];
    }
    return null;
}

// Calls done() once the frame is the target, or after ms milliseconds. A window that answered
// with another frame (a terminal keeping to whole cells) is settled once neither its frame nor
// its content has changed for 80 ms: long enough for a client still on its way from an
// un-maximized size, short beside the commit it ends.
function settle(w, target, ms, done)
{
    var finished = false;
    var limit = new QTimer();
    var quiet = new QTimer();
    var signals = [w.frameGeometryChanged];
    if (w.damaged)
        signals.push(w.damaged); // a client that keeps its size still draws once it has the request
    function finish()
    {
        if (finished)
            return;
        finished = true;
        limit.stop();
        quiet.stop();
        for (var i = 0; i < signals.length; ++i) {
            try {
                signals[i].disconnect(changed);
            } catch (e) {
            }
        }
        done();
    }
    function changed()
    {
        if (sameRect(rect(w.frameGeometry), target))
            finish();
        else
            quiet.start();
    }
    if (sameRect(rect(w.frameGeometry), target)) {
        done();
        return;
    }
    limit.singleShot = true;
    limit.interval = ms;
    limit.timeout.connect(finish);
    quiet.singleShot = true;
    quiet.interval = 80;
    quiet.timeout.connect(finish);
    for (var i = 0; i < signals.length; ++i)
        signals[i].connect(changed);
    limit.start();
}

// Waits up to ms milliseconds for Mosaro's panel to be mapped: a window other than `former` (the
// panel's previous mapping, which may still be on its way out when it is shown again at once).
function withPanel(ms, former, done)
{
    var panel = findPanel();
    if (panel && String(panel.internalId) !== former) {
        done(panel);
        return;
    }
    var finished = false;
    var limit = new QTimer();
    function finish(w)
    {
        if (finished)
            return;
        finished = true;
        limit.stop();
        windowAdded().disconnect(added);
        done(w);
    }
    function added(w)
    {
        if (isPanel(w) && String(w.internalId) !== former)
            finish(w);
    }
    limit.singleShot = true;
    limit.interval = ms;
    limit.timeout.connect(function () {
        finish(null);
    });
    windowAdded().connect(added);
    limit.start();
}

var lastPanel = null; // the internalId of the panel's last mapping

// Calls done() once the window is gone, or after ms milliseconds. KWin gives the keyboard to
// another window as one leaves, so a panel shown again must be activated after its former mapping
// has left.
function whenGone(id, ms, done)
{
    if (id === null || !findWindow(id)) {
        done();
        return;
    }
    var removed = kwin6 ? workspace.windowRemoved : workspace.clientRemoved;
    var finished = false;
    var limit = new QTimer();
    function finish()
    {
        if (finished)
            return;
        finished = true;
        limit.stop();
        removed.disconnect(gone);
        done();
    }
    function gone(w)
    {
        if (String(w.internalId) === id)
            finish();
    }
    limit.singleShot = true;
    limit.interval = ms;
    limit.timeout.connect(finish);
    removed.connect(gone);
    limit.start();
}

// Mosaro's requests. Each calls reply(result) once, now or after a wait.
var ops = {
    idle: function (request, reply) {
        reply({});
    },
    window: function (request, reply) {
        reply({window: describe(activeWindow())});
    },
    outputs: function (request, reply) {
        reply({outputs: outputs()});
    },
    // The writes in their order, each a position {x, y}, a size {width, height} or both, applied to
    // the frame KWin was last asked for; the answer is the frame once it has settled.
    place: function (request, reply) {
        var w = findWindow(request.id);
        if (!w) {
            reply({error: "gone", written: 0});
            return;
        }
        var wanted = rect(w.frameGeometry);
        if (w.maximizable)
            w.setMaximize(false, false); // a maximized window moves but stays maximized otherwise
        var written = 0;
        for (; written < request.writes.length; ++written) {
            var write = request.writes[written];
            var moves = write.x !== undefined;
            var sizes = write.width !== undefined;
            if ((moves && !w.moveable) || (sizes && !w.resizeable)) {
                reply({error: moves && !w.moveable ? "notMoveable" : "notResizable", written: written,
                       frame: rect(w.frameGeometry)});
                return;
            }
            var next = {x: moves ? write.x : wanted.x, y: moves ? write.y : wanted.y,
                        width: sizes ? write.width : wanted.width, height: sizes ? write.height : wanted.height};
            // After un-maximizing the first write always goes out: KWin is restoring another frame.
            if (!sameRect(next, wanted) || written === 0)
                w.frameGeometry = next;
            wanted = next;
        }
        settle(w, wanted, request.settleMs || 500, function () {
            var gone = !findWindow(request.id);
            reply(gone ? {error: "gone", written: written} : {written: written, frame: rect(w.frameGeometry)});
        });
    },
    // Mosaro's panel over a display's visible frame, above every window, holding the keyboard.
    panel: function (request, reply) {
        var former = request.fresh ? lastPanel : null;
        withPanel(request.waitMs || 500, former, function (w) {
            if (!w) {
                reply({error: "noPanel"});
                return;
            }
            lastPanel = String(w.internalId);
            whenGone(former, request.waitMs || 500, function () {
                show(w);
            });
        });
        function show(w)
        {
            w.keepAbove = true;
            w.noBorder = true;
            w.skipTaskbar = true;
            w.skipSwitcher = true;
            w.skipPager = true;
            w.onAllDesktops = true;
            w.frameGeometry = request.frame;
            activate(w);
            // A panel moved to another output may lose the activation on the way: given it again.
            settle(w, request.frame, request.waitMs || 500, function () {
                // The panel may have closed meanwhile; a closed window is not to be read.
                if (allWindows().indexOf(w) < 0) {
                    reply({error: "noPanel"});
                    return;
                }
                if (activeWindow() !== w)
                    activate(w);
                reply({window: describe(w), active: activeWindow() === w});
            });
        }
    },
    // Brings one of Mosaro's own windows (settings, About) to the front: no client may raise itself.
    activateOwn: function (request, reply) {
        var list = allWindows();
        for (var i = 0; i < list.length; ++i) {
            if (list[i].pid === mosaroConfig.pid && String(list[i].caption) === String(request.caption)) {
                activate(list[i]);
                reply({active: activeWindow() === list[i]});
                return;
            }
        }
        reply({active: false});
    },
    // Gives the keyboard to a window, the target when the panel closes.
    activate: function (request, reply) {
        var w = findWindow(request.id);
        if (w)
            activate(w);
        reply({active: w !== null && activeWindow() === w});
    }
};

function parse(text)
{
    try {
        var value = JSON.parse(text);
        return value !== null && typeof value === "object" ? value : null;
    } catch (e) {
        return null;
    }
}

// Runs one request and hands its answer, with the request's number, to answer(text).
function handle(text, answer)
{
    var request = parse(text);
    if (!request) {
        answer(JSON.stringify({error: "unreadable request"}));
        return;
    }
    var op = ops.hasOwnProperty(request.op) ? ops[request.op] : null;
    if (!op) {
        answer(JSON.stringify({seq: request.seq, error: "unknown request"}));
        return;
    }
    try {
        op(request, function (result) {
            result.seq = request.seq;
            answer(JSON.stringify(result));
        });
    } catch (e) {
        answer(JSON.stringify({seq: request.seq, error: String(e)}));
    }
}

function callMosaro(method, text, callback)
{
    if (callback)
        callDBus(mosaroConfig.service, mosaroConfig.path, mosaroConfig.interface, method, text, callback);
    else
        callDBus(mosaroConfig.service, mosaroConfig.path, mosaroConfig.interface, method, text);
}
