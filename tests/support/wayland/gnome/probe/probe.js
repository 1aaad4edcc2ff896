// The tests' own view into GNOME Shell, so that they check Mosaro's work without taking Mosaro's
// extension at its word: every window with its frame, the monitors with their work areas, the
// Shell's state, and a screenshot (GNOME restricts its own screenshot and introspection
// interfaces to a few callers). It reads only, but for activating a window as a click on it would;
// it answers anyone on the session bus.
'use strict';

var PROBE_XML = `<node>
  <interface name="tech.brenmark.mosaro.Probe">
    <method name="GetWindows"><arg name="windows" type="aa{sv}" direction="out"/></method>
    <method name="GetMonitors"><arg name="monitors" type="aa{sv}" direction="out"/></method>
    <method name="GetState"><arg name="state" type="a{sv}" direction="out"/></method>
    <method name="Activate"><arg name="title" type="s" direction="in"/></method>
    <method name="Screenshot">
      <arg name="path" type="s" direction="in"/>
      <arg name="done" type="b" direction="out"/>
    </method>
  </interface>
</node>`;

var MosaroProbe = class MosaroProbe {
    // lib: {Gio, GLib, Meta, Shell, Main}.
    constructor(lib) {
        this._lib = lib;
    }

    enable() {
        const {Gio} = this._lib;
        this._dbus = Gio.DBusExportedObject.wrapJSObject(PROBE_XML, this);
        this._dbus.export(Gio.DBus.session, '/tech/brenmark/mosaro/Probe');
        this._nameId = Gio.bus_own_name_on_connection(Gio.DBus.session, 'tech.brenmark.mosaro.Probe',
            Gio.BusNameOwnerFlags.NONE, null, null);
    }

    disable() {
        this._lib.Gio.bus_unown_name(this._nameId);
        this._dbus.unexport();
        this._dbus = null;
    }

    _record(fields) {
        const {GLib} = this._lib;
        const record = {};
        for (const [key, [type, value]] of Object.entries(fields))
            record[key] = new GLib.Variant(type, value);
        return record;
    }

    GetWindows() {
        const focus = global.display.get_focus_window();
        return global.get_window_actors().map(actor => actor.meta_window).map(win => {
            const frame = win.get_frame_rect();
            return this._record({
                id: ['t', win.get_id()],
                title: ['s', win.get_title() ?? ''],
                wmClass: ['s', win.get_wm_class() ?? ''],
                pid: ['i', win.get_pid()],
                x: ['i', frame.x],
                y: ['i', frame.y],
                width: ['i', frame.width],
                height: ['i', frame.height],
                monitor: ['i', win.get_monitor()],
                workspace: ['i', win.is_on_all_workspaces() ? -1 : win.get_workspace()?.index() ?? -1],
                focused: ['b', win === focus],
                above: ['b', win.is_above()],
                maximized: ['b', win.get_maximized() !== 0],
                fullscreen: ['b', win.is_fullscreen()],
                minimized: ['b', win.minimized],
                shown: ['b', win.get_compositor_private()?.visible ?? false],
            });
        });
    }

    GetMonitors() {
        const {Main} = this._lib;
        const workspace = global.workspace_manager.get_active_workspace();
        return Main.layoutManager.monitors.map(monitor => {
            const area = workspace.get_work_area_for_monitor(monitor.index);
            return this._record({
                index: ['i', monitor.index],
                primary: ['b', monitor.index === Main.layoutManager.primaryIndex],
                x: ['i', monitor.x],
                y: ['i', monitor.y],
                width: ['i', monitor.width],
                height: ['i', monitor.height],
                workX: ['i', area.x],
                workY: ['i', area.y],
                workWidth: ['i', area.width],
                workHeight: ['i', area.height],
            });
        });
    }

    GetState() {
        const {Main} = this._lib;
        const focus = global.display.get_focus_window();
        return this._record({
            overview: ['b', Main.overview.visible],
            startingUp: ['b', Main.layoutManager._startingUp],
            focusedWindow: ['t', focus ? focus.get_id() : 0],
            activeWorkspace: ['i', global.workspace_manager.get_active_workspace_index()],
            workspaces: ['i', global.workspace_manager.get_n_workspaces()],
            modals: ['i', Main.modalCount],
            actionMode: ['u', Main.actionMode],
        });
    }

    Activate(title) {
        const actor = global.get_window_actors().find(a => a.meta_window.get_title() === title);
        actor?.meta_window.activate(global.get_current_time());
    }

    // The whole stage as a PNG, written by the Shell's user.
    ScreenshotAsync([path], invocation) {
        const {Gio, GLib, Shell} = this._lib;
        const reply = done => invocation.return_value(new GLib.Variant('(b)', [done]));
        try {
            const stream = Gio.File.new_for_path(path).replace(null, false, Gio.FileCreateFlags.NONE, null);
            new Shell.Screenshot().screenshot(false, stream, (shooter, result) => {
                let done = false;
                try {
                    [done] = shooter.screenshot_finish(result);
                } catch (e) {
                    console.warn(`probe: screenshot failed: ${e.message}`);
                }
                stream.close(null);
                reply(done);
            });
        } catch (e) {
            console.warn(`probe: screenshot failed: ${e.message}`);
            reply(false);
        }
    }
};
