#!/usr/bin/python3
# A GTK 3 window with client-side decorations (a header bar) for the integration tests: GTK
# draws its own title bar, asks the window manager for no frame, and with a compositing manager
# adds an invisible shadow that it announces in _GTK_FRAME_EXTENTS.
#
#   mosaro_gtk_client.py [TITLE]

import sys

import gi

gi.require_version("Gtk", "3.0")
from gi.repository import GLib, Gtk  # noqa: E402

GLib.set_prgname("mosaro-gtk-client")
title = sys.argv[1] if len(sys.argv) > 1 else "Mosaro GTK client"
window = Gtk.Window(title=title)
window.set_titlebar(Gtk.HeaderBar(title=title, show_close_button=True))
window.add(Gtk.Label(label="Client-side decorations"))
window.set_default_size(400, 300)
window.connect("destroy", Gtk.main_quit)
window.show_all()
Gtk.main()
