# A bar that reserves space at the top or bottom of the output, as Plasma's panel does (GTK's
# layer-shell): bar.py HEIGHT top|bottom
import sys, gi
gi.require_version("Gtk", "3.0")
gi.require_version("GtkLayerShell", "0.1")
from gi.repository import Gtk, GtkLayerShell
height, edge = int(sys.argv[1]), sys.argv[2]
w = Gtk.Window(title="Mosaro test bar")
GtkLayerShell.init_for_window(w)
for e in (GtkLayerShell.Edge.LEFT, GtkLayerShell.Edge.RIGHT,
          GtkLayerShell.Edge.TOP if edge == "top" else GtkLayerShell.Edge.BOTTOM):
    GtkLayerShell.set_anchor(w, e, True)
GtkLayerShell.set_exclusive_zone(w, height)
w.set_size_request(-1, height)
w.show_all()
Gtk.main()
