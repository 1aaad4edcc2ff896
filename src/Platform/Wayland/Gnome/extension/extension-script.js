// GNOME Shell 43 and 44 load extensions as scripts.
'use strict';

const {Gio, GLib, Meta, Shell} = imports.gi;
const Main = imports.ui.main;

class Extension {
    constructor(extension) {
        this._extension = extension;
        this._shell = null;
    }

    enable() {
        const {path, metadata} = this._extension;
        this._shell = new this._extension.imports.mosaro.MosaroShell({Gio, GLib, Meta, Shell, Main}, path,
            metadata['version-name']);
        this._shell.enable();
    }

    disable() {
        this._shell.disable();
        this._shell = null;
    }
}

function init(extension) {
    return new Extension(extension);
}
