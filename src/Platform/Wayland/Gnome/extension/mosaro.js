// Mosaro's channel into GNOME Shell: the focused window, its placement, the monitors, the
// trigger and the panel, on the session bus for Mosaro's own process only. GNOME 43-44 load
// this file as a script and 45+ as a module (the build appends its export), so it imports
// nothing: the entry file hands in the Shell's libraries.
'use strict';

var BUS_NAME = 'tech.brenmark.mosaro.Shell';
var OBJECT_PATH = '/tech/brenmark/mosaro/Shell';
var INTERFACE = 'tech.brenmark.mosaro.Shell';
// Mosaro's single-instance name: only its owner may register.
var MOSARO_NAME = 'tech.brenmark.mosaro';
var ERROR_PREFIX = 'tech.brenmark.mosaro.Shell.Error.';
var DISPLAY_CONFIG = 'org.gnome.Mutter.DisplayConfig';

// A size change waits for the client's next commit; Mosaro bounds each call at one second.
var SETTLE_LIMIT_MS = 400;
// A frame that moved but is not the one asked (a client's minimum size, the top bar) is taken
// once it has been still this long.
var SETTLE_QUIET_MS = 150;
// How long the panel's window may take to appear after ShowPanel.
var PANEL_WAIT_MS = 800;

var BINDING_SCHEMAS = [
    'org.gnome.desktop.wm.keybindings',
    'org.gnome.shell.keybindings',
    'org.gnome.mutter.keybindings',
    'org.gnome.mutter.wayland.keybindings',
    'org.gnome.settings-daemon.plugins.media-keys',
];
var CUSTOM_BINDING_SCHEMA = 'org.gnome.settings-daemon.plugins.media-keys.custom-keybinding';
var SETTINGS_PATH = /^\/([A-Za-z0-9_.-]+\/)+$/;

function frameOf(win) {
    const r = win.get_frame_rect();
    return [r.x, r.y, r.width, r.height];
}

// Whether the window's size may change at all: allows_resize() also says no while it is
// maximized, which placement undoes first.
function resizable(win) {
    return win.resizeable;
}

function sameFrame(a, b) {
    return a[0] === b[0] && a[1] === b[1] && a[2] === b[2] && a[3] === b[3];
}

var MosaroShell = class MosaroShell {
    // lib: {Gio, GLib, Meta, Shell, Main}; dir: the extension's folder; version: Mosaro's.
    constructor(lib, dir, version) {
        this._lib = lib;
        this._dir = dir;
        this._version = version;
    }

    enable() {
        const {Gio, GLib} = this._lib;
        const [, bytes] = Gio.File.new_for_path(GLib.build_filenamev([this._dir, `${INTERFACE}.xml`]))
            .load_contents(null);
        this._dbus = Gio.DBusExportedObject.wrapJSObject(new TextDecoder().decode(bytes), this);
        this._dbus.export(Gio.DBus.session, OBJECT_PATH);
        this._nameId = Gio.bus_own_name_on_connection(Gio.DBus.session, BUS_NAME,
            Gio.BusNameOwnerFlags.NONE, null, null);

        this._client = null; // {name, pid, watchId}
        this._targetId = null;
        this._trigger = null; // {accelerator, action, name}
        this._panel = null; // {win, hadFocus, unmanagedId}
        this._inhibited = false;
        this._monitorInfo = new Map(); // connector -> {vendor, product}
        this._signals = [];

        const {Main} = this._lib;
        this._connect(global.display, 'accelerator-activated', (d, action) => this._onAccelerator(action));
        this._connect(global.window_manager, 'filter-keybinding', (wm, binding) => this._filterKeybinding(binding));
        this._connect(global.display, 'notify::focus-window', () => this._onFocusChanged());
        // The Shell's own menus and dialogs take the keyboard without moving the focus, and so
        // does the overview, which keeps it on the stage itself.
        this._connect(global.stage, 'notify::key-focus', () => this._onFocusChanged());
        this._connect(Main.overview, 'showing', () => this._dismiss('focus'));
        this._connect(global.workspace_manager, 'active-workspace-changed', () => this._dismiss('workspace'));
        this._connect(Main.layoutManager, 'monitors-changed', () => {
            this._readMonitorInfo();
            this._dismiss('monitors');
            this._emit('MonitorsChanged', null);
        });
        this._connect(global.display, 'workareas-changed', () => this._emit('MonitorsChanged', null));
        // Mutter names its display configuration on the bus only after extensions are enabled.
        this._displayConfigWatch = Gio.bus_watch_name_on_connection(Gio.DBus.session, DISPLAY_CONFIG,
            Gio.BusNameWatcherFlags.NONE, () => this._readMonitorInfo(), null);
    }

    disable() {
        this._endPanel();
        this._setClient(null);
        for (const [object, id] of this._signals)
            object.disconnect(id);
        this._signals = [];
        this._lib.Gio.bus_unwatch_name(this._displayConfigWatch);
        this._lib.Gio.bus_unown_name(this._nameId);
        this._dbus.unexport();
        this._dbus = null;
    }

    get Version() {
        return this._version;
    }

    // --- Registration -----------------------------------------------------------------------

    RegisterAsync(params, invocation) {
        const sender = invocation.get_sender();
        this._busCall('GetNameOwner', '(s)', [MOSARO_NAME], (owner, error) => {
            if (error || owner !== sender) {
                this._deny(invocation, `only the owner of ${MOSARO_NAME} may register`);
                return;
            }
            this._busCall('GetConnectionUnixProcessID', '(s)', [sender], (pid, pidError) => {
                if (pidError) {
                    this._deny(invocation, 'the caller\'s process is unknown');
                    return;
                }
                this._setClient({name: sender, pid});
                invocation.return_value(new this._lib.GLib.Variant('(s)', [this._version]));
            });
        });
    }

    _setClient(client) {
        const {Gio} = this._lib;
        if (this._client) {
            Gio.bus_unwatch_name(this._client.watchId);
            this._endPanel();
            this._setTrigger('');
            this._inhibited = false;
            this._targetId = null;
        }
        this._client = client;
        if (client) {
            client.watchId = Gio.bus_watch_name_on_connection(Gio.DBus.session, client.name,
                Gio.BusNameWatcherFlags.NONE, null, () => {
                    if (this._client === client)
                        this._setClient(null);
                });
        }
    }

    // One call to the bus daemon, its single result handed to done(result, error).
    _busCall(method, signature, args, done) {
        const {Gio, GLib} = this._lib;
        Gio.DBus.session.call('org.freedesktop.DBus', '/org/freedesktop/DBus', 'org.freedesktop.DBus',
            method, new GLib.Variant(signature, args), null, Gio.DBusCallFlags.NONE, 1000, null,
            (connection, result) => {
                try {
                    done(connection.call_finish(result).deepUnpack()[0], null);
                } catch (e) {
                    done(null, e);
                }
            });
    }

    // Runs handler(args) for the registered client only; anyone else gets an error.
    _guard(invocation, params, handler) {
        if (!this._client || invocation.get_sender() !== this._client.name) {
            this._deny(invocation, 'not registered as Mosaro');
            return;
        }
        try {
            handler(...params);
        } catch (e) {
            console.error(`Mosaro: ${e}`);
            invocation.return_dbus_error(`${ERROR_PREFIX}Failed`, String(e));
        }
    }

    _deny(invocation, message) {
        invocation.return_dbus_error(`${ERROR_PREFIX}NotAllowed`, message);
    }

    _emit(signal, variant) {
        if (!this._client || !this._dbus)
            return;
        this._dbus.get_connection().emit_signal(this._client.name, OBJECT_PATH, INTERFACE, signal, variant);
    }

    _connect(object, signal, handler) {
        this._signals.push([object, object.connect(signal, handler)]);
    }

    // --- Windows ----------------------------------------------------------------------------

    _windowRecord(win) {
        const {GLib} = this._lib;
        if (!win)
            return {};
        const [x, y, width, height] = frameOf(win);
        const record = {
            id: new GLib.Variant('t', win.get_id()),
            x: new GLib.Variant('i', x),
            y: new GLib.Variant('i', y),
            width: new GLib.Variant('i', width),
            height: new GLib.Variant('i', height),
            monitor: new GLib.Variant('i', win.get_monitor()),
            pid: new GLib.Variant('u', Math.max(win.get_pid(), 0)),
            fullscreen: new GLib.Variant('b', win.is_fullscreen()),
            minimized: new GLib.Variant('b', win.minimized),
            resizable: new GLib.Variant('b', resizable(win)),
            maximized: new GLib.Variant('b', win.get_maximized() !== 0),
        };
        const title = win.get_title();
        if (title !== null)
            record.title = new GLib.Variant('s', title);
        return record;
    }

    // The focused window, which placement may move from now on unless it is Mosaro's own.
    _resolveFocused() {
        const win = global.display.get_focus_window();
        if (win && !this._isOwn(win))
            this._targetId = win.get_id();
        return this._windowRecord(win);
    }

    _isOwn(win) {
        return this._client !== null && win.get_pid() === this._client.pid;
    }

    _findWindow(id) {
        for (const actor of global.get_window_actors()) {
            if (actor.meta_window.get_id() === id)
                return actor.meta_window;
        }
        return null;
    }

    GetFocusedWindowAsync(params, invocation) {
        this._guard(invocation, params, () => {
            invocation.return_value(new this._lib.GLib.Variant('(a{sv})', [this._resolveFocused()]));
        });
    }

    MoveResizeAsync(params, invocation) {
        this._guard(invocation, params, (id, x, y, width, height) => {
            const win = this._findWindow(id);
            if (!win) {
                invocation.return_dbus_error(`${ERROR_PREFIX}NoWindow`, `no window ${id}`);
                return;
            }
            if (id !== this._targetId && !this._isOwn(win)) {
                this._deny(invocation, 'only the window of the last trigger and Mosaro\'s own');
                return;
            }
            if (win.is_fullscreen() || win.minimized || !resizable(win)) {
                invocation.return_dbus_error(`${ERROR_PREFIX}NotResizable`, 'full screen, minimized or fixed size');
                return;
            }
            this._place(win, [x, y, width, height], (settled, frame) => {
                const {GLib} = this._lib;
                if (frame)
                    invocation.return_value(new GLib.Variant('(biiii)', [settled, ...frame]));
                else
                    invocation.return_dbus_error(`${ERROR_PREFIX}NoWindow`, `window ${id} went away`);
            });
        });
    }

    // Moves and resizes, then calls done(settled, frame) once the frame shows what was asked,
    // or has been still for a while after moving, or when the time is up; frame is null when
    // the window went away meanwhile.
    _place(win, asked, done, unmaximized = false) {
        const {GLib, Meta} = this._lib;
        if (!unmaximized && win.get_maximized() !== 0) {
            // The client answers the un-maximize with its earlier size: placed before that
            // answer came, the answer would undo the placement.
            win.unmaximize(Meta.MaximizeFlags.BOTH);
            const waiting = [];
            let waitId = 0;
            const go = gone => {
                for (const id of waiting)
                    win.disconnect(id);
                if (waitId)
                    GLib.source_remove(waitId);
                if (gone)
                    done(false, null);
                else
                    this._place(win, asked, done, true);
            };
            waiting.push(win.connect('size-changed', () => go(false)));
            waiting.push(win.connect('unmanaged', () => go(true)));
            waitId = GLib.timeout_add(GLib.PRIORITY_DEFAULT, SETTLE_QUIET_MS, () => {
                waitId = 0;
                go(false);
                return GLib.SOURCE_REMOVE;
            });
            return;
        }
        const ids = [];
        let limitId = 0;
        let quietId = 0;
        let finished = false;
        // A move shows at once, a size only once the client answers: only an answer of the
        // client's (a size change) that then stays still is the frame it settled at.
        let answered = false;
        const finish = (settled, frame) => {
            if (finished)
                return;
            finished = true;
            for (const id of ids)
                win.disconnect(id);
            if (limitId)
                GLib.source_remove(limitId);
            if (quietId)
                GLib.source_remove(quietId);
            done(settled, frame);
        };
        const check = () => {
            const frame = frameOf(win);
            if (sameFrame(frame, asked)) {
                finish(true, frame);
                return;
            }
            if (!answered && (frame[2] !== asked[2] || frame[3] !== asked[3]))
                return;
            if (quietId)
                GLib.source_remove(quietId);
            quietId = GLib.timeout_add(GLib.PRIORITY_DEFAULT, SETTLE_QUIET_MS, () => {
                quietId = 0;
                finish(false, frameOf(win));
                return GLib.SOURCE_REMOVE;
            });
        };

        if (win.get_maximized() !== 0)
            win.unmaximize(Meta.MaximizeFlags.BOTH);
        ids.push(win.connect('size-changed', () => {
            answered = true;
            check();
        }));
        ids.push(win.connect('position-changed', check));
        ids.push(win.connect('unmanaged', () => finish(false, null)));
        limitId = GLib.timeout_add(GLib.PRIORITY_DEFAULT, SETTLE_LIMIT_MS, () => {
            limitId = 0;
            finish(false, frameOf(win));
            return GLib.SOURCE_REMOVE;
        });
        win.move_resize_frame(true, ...asked);
        if (sameFrame(frameOf(win), asked))
            finish(true, frameOf(win));
    }

    // --- Monitors ---------------------------------------------------------------------------

    // Connector, vendor and product come from the display configuration, which the Shell's own
    // process serves: asked asynchronously, kept until the monitors change.
    _readMonitorInfo() {
        const {Gio} = this._lib;
        Gio.DBus.session.call(DISPLAY_CONFIG, '/org/gnome/Mutter/DisplayConfig', DISPLAY_CONFIG,
            'GetCurrentState', null, null, Gio.DBusCallFlags.NONE, 1000, null, (connection, result) => {
                try {
                    const [, monitors] = connection.call_finish(result).deepUnpack();
                    const info = new Map();
                    for (const [[connector, vendor, product]] of monitors)
                        info.set(connector, {vendor, product});
                    this._monitorInfo = info;
                } catch (e) {
                    console.warn(`Mosaro: the display configuration did not answer: ${e.message}`);
                }
            });
    }

    GetMonitorsAsync(params, invocation) {
        this._guard(invocation, params, () => {
            const {GLib, Main} = this._lib;
            const manager = global.backend.get_monitor_manager();
            const workspace = global.workspace_manager.get_active_workspace();
            const connectors = new Map();
            for (const [connector, info] of this._monitorInfo)
                connectors.set(manager.get_monitor_for_connector(connector), {connector, ...info});
            const records = Main.layoutManager.monitors.map(monitor => {
                const area = workspace.get_work_area_for_monitor(monitor.index);
                const info = connectors.get(monitor.index) ?? {connector: '', vendor: '', product: ''};
                return {
                    index: new GLib.Variant('i', monitor.index),
                    connector: new GLib.Variant('s', info.connector),
                    vendor: new GLib.Variant('s', info.vendor),
                    product: new GLib.Variant('s', info.product),
                    primary: new GLib.Variant('b', monitor.index === Main.layoutManager.primaryIndex),
                    x: new GLib.Variant('i', monitor.x),
                    y: new GLib.Variant('i', monitor.y),
                    width: new GLib.Variant('i', monitor.width),
                    height: new GLib.Variant('i', monitor.height),
                    workX: new GLib.Variant('i', area.x),
                    workY: new GLib.Variant('i', area.y),
                    workWidth: new GLib.Variant('i', area.width),
                    workHeight: new GLib.Variant('i', area.height),
                };
            });
            invocation.return_value(new GLib.Variant('(aa{sv})', [records]));
        });
    }

    // --- The trigger and the Shell's shortcuts ----------------------------------------------

    SetTriggerAsync(params, invocation) {
        this._guard(invocation, params, accelerator => {
            invocation.return_value(new this._lib.GLib.Variant('(b)', [this._setTrigger(accelerator)]));
        });
    }

    _setTrigger(accelerator) {
        const {Meta, Shell, Main} = this._lib;
        if (this._trigger) {
            global.display.ungrab_accelerator(this._trigger.action);
            this._trigger = null;
        }
        if (accelerator === '')
            return true;
        const action = global.display.grab_accelerator(accelerator, Meta.KeyBindingFlags.NONE);
        if (action === Meta.KeyBindingAction.NONE)
            return false;
        const name = Meta.external_binding_name_for_action(action);
        Main.wm.allowKeybinding(name, Shell.ActionMode.NORMAL | Shell.ActionMode.OVERVIEW | Shell.ActionMode.POPUP);
        this._trigger = {accelerator, action, name};
        return true;
    }

    _onAccelerator(action) {
        if (!this._trigger || action !== this._trigger.action)
            return;
        this._emit('Triggered', new this._lib.GLib.Variant('(a{sv})', [this._resolveFocused()]));
    }

    GetShellBindingsAsync(params, invocation) {
        this._guard(invocation, params, () => {
            const {Gio, GLib} = this._lib;
            const source = Gio.SettingsSchemaSource.get_default();
            const bindings = [];
            const add = (schema, settings, path) => {
                for (const key of schema.list_keys()) {
                    if (key === 'custom-keybindings')
                        continue;
                    const type = schema.get_key(key).get_value_type().dup_string();
                    if (type !== 'as' && type !== 's')
                        continue;
                    const summary = schema.get_key(key).get_summary() ?? key;
                    const values = type === 'as' ? settings.get_strv(key) : [settings.get_string(key)];
                    for (const accelerator of values) {
                        if (accelerator !== '' && accelerator !== 'disabled')
                            bindings.push([`${path}/${key}`, summary, accelerator]);
                    }
                }
            };
            for (const id of BINDING_SCHEMAS) {
                const schema = source.lookup(id, true);
                if (!schema)
                    continue;
                const settings = new Gio.Settings({settings_schema: schema});
                add(schema, settings, id);
                if (schema.has_key('custom-keybindings')) {
                    const custom = source.lookup(CUSTOM_BINDING_SCHEMA, true);
                    for (const path of custom ? settings.get_strv('custom-keybindings') : []) {
                        // GSettings aborts the whole Shell on a malformed path.
                        if (!SETTINGS_PATH.test(path))
                            continue;
                        const one = new Gio.Settings({settings_schema: custom, path});
                        const binding = one.get_string('binding');
                        if (binding !== '')
                            bindings.push([path, one.get_string('name'), binding]);
                    }
                }
            }
            invocation.return_value(new GLib.Variant('(a(sss))', [bindings]));
        });
    }

    // While the panel or the recorder holds the keyboard, the Shell runs none of its shortcuts,
    // so every key reaches Mosaro's window; the panel still lets the trigger through, which
    // closes it.
    _filterKeybinding(binding) {
        const focus = global.display.get_focus_window();
        if (!focus || !this._client)
            return false;
        if (this._panel && this._panel.win === focus)
            return !(this._trigger && binding.get_name() === this._trigger.name);
        return this._inhibited && this._isOwn(focus);
    }

    SetShortcutsInhibitedAsync(params, invocation) {
        this._guard(invocation, params, inhibited => {
            this._inhibited = inhibited;
            invocation.return_value(null);
        });
    }

    // --- The panel --------------------------------------------------------------------------

    ShowPanelAsync(params, invocation) {
        this._guard(invocation, params, (title, x, y, width, height) => {
            this._endPanel();
            this._awaitOwnWindow(title, win => {
                if (win)
                    this._holdPanel(win, [x, y, width, height], invocation);
                else
                    invocation.return_dbus_error(`${ERROR_PREFIX}NoWindow`, `no window of Mosaro's titled "${title}"`);
            });
        });
    }

    // Calls done(win) once Mosaro's window of this title is shown, or done(null) when the time is
    // up. Mosaro shows its window and asks at the same time: the window may not be there yet, or
    // not shown yet, and nothing may be done to it before it is.
    _awaitOwnWindow(title, done) {
        const {GLib} = this._lib;
        const signals = [];
        let limitId = 0;
        let finished = false;
        const finish = win => {
            if (finished)
                return;
            finished = true;
            for (const [object, id] of signals)
                object.disconnect(id);
            if (limitId)
                GLib.source_remove(limitId);
            done(win);
        };
        // A new window may get its title after it was created, and is shown later still.
        const consider = win => {
            if (finished || !this._isOwn(win))
                return;
            const check = () => {
                if (win.get_title() !== title)
                    return;
                if (win.get_compositor_private()?.visible)
                    finish(win);
                else if (win.get_workspace() !== global.workspace_manager.get_active_workspace())
                    win.stick(); // left on another workspace: shown here once sticky
            };
            signals.push([win, win.connect('shown', check)], [win, win.connect('notify::title', check)]);
            check();
        };
        limitId = GLib.timeout_add(GLib.PRIORITY_DEFAULT, PANEL_WAIT_MS, () => {
            limitId = 0;
            finish(null);
            return GLib.SOURCE_REMOVE;
        });
        signals.push([global.display, global.display.connect('window-created', (display, win) => consider(win))]);
        for (const actor of global.get_window_actors())
            consider(actor.meta_window);
    }

    // Raises, places and focuses the panel. The reply does not wait for the frame: that takes
    // Mosaro's own answer to the resize, which it may only give once this call returned.
    _holdPanel(win, frame, invocation) {
        const {GLib, Main} = this._lib;
        const panel = {win, hadFocus: false, unmanagedId: 0, sizeId: 0};
        panel.unmanagedId = win.connect('unmanaged', () => this._dismiss('focus'));
        // Mosaro resizes its window for the new display while the Shell moves it there, and a
        // size the client commits may come without the move: the position is kept as asked.
        panel.sizeId = win.connect('size-changed', () => {
            const rect = win.get_frame_rect();
            if (rect.x !== frame[0] || rect.y !== frame[1])
                win.move_frame(false, frame[0], frame[1]);
        });
        this._panel = panel;
        win.make_above();
        win.stick();
        if (win.get_maximized() !== 0)
            win.unmaximize(this._lib.Meta.MaximizeFlags.BOTH);
        // The move first, applied at once: a size the client already has brings no commit, and the
        // move of a move-and-resize waits for one.
        win.move_frame(false, frame[0], frame[1]);
        win.move_resize_frame(false, ...frame);
        Main.activateWindow(win);
        invocation.return_value(new GLib.Variant('(b)', [global.display.get_focus_window() === win]));
    }

    _onFocusChanged() {
        if (!this._panel)
            return;
        const stageFocus = global.stage.key_focus;
        if (global.display.get_focus_window() === this._panel.win && (!stageFocus || stageFocus === global.stage))
            this._panel.hadFocus = true;
        else if (this._panel.hadFocus)
            this._dismiss('focus');
    }

    _dismiss(reason) {
        if (!this._panel)
            return;
        this._endPanel();
        this._emit('Dismissed', new this._lib.GLib.Variant('(s)', [reason]));
    }

    _endPanel() {
        if (!this._panel)
            return;
        this._panel.win.disconnect(this._panel.unmanagedId);
        this._panel.win.disconnect(this._panel.sizeId);
        this._panel = null;
    }

    // Wayland has no bell a client can ring: play the one the desktop plays for its own, when
    // the user has it on.
    BeepAsync(params, invocation) {
        this._guard(invocation, params, () => {
            const {Gio} = this._lib;
            if (new Gio.Settings({schema_id: 'org.gnome.desktop.wm.preferences'}).get_boolean('audible-bell'))
                global.display.get_sound_player().play_from_theme('bell-window-system', 'Mosaro', null);
            invocation.return_value(null);
        });
    }

    ActivateAsync(params, invocation) {
        this._guard(invocation, params, title => {
            this._awaitOwnWindow(title, win => {
                if (win)
                    this._lib.Main.activateWindow(win);
                invocation.return_value(new this._lib.GLib.Variant('(b)', [win !== null]));
            });
        });
    }

    HidePanelAsync(params, invocation) {
        this._guard(invocation, params, refocusTarget => {
            this._endPanel();
            const target = refocusTarget && this._targetId !== null ? this._findWindow(this._targetId) : null;
            if (target && !target.minimized)
                this._lib.Main.activateWindow(target);
            invocation.return_value(null);
        });
    }
};
