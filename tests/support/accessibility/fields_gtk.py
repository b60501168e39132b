"""A GTK 3 window with two fields; takes orders and reports on the descriptor that its argument names.

Orders:   focus NAME | replace (by a window with the field "three") | labels COUNT (more of them) | iconify
Reports:  done (after every order) | focus NAME | text NAME WORDS | shown
"""

import os
import sys

import gi

gi.require_version("Gtk", "3.0")
from gi.repository import GLib, Gtk  # noqa: E402

channel = os.fdopen(int(sys.argv[1]), "r+b", buffering=0)
fields = {}
windows = []


def say(line):
    channel.write((line + "\n").encode())


def make_field(name):
    field = Gtk.Entry()
    field.get_accessible().set_name(name)
    field.connect("focus-in-event", lambda *_: say("focus " + name))
    field.connect("changed", lambda entry: say("text " + name + " " + entry.get_text()))
    fields[name] = field
    return field


def make_window(names):
    window = Gtk.Window(title="fields " + names[0])
    box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL)
    for name in names:
        box.add(make_field(name))
    window.add(box)
    window.connect("map-event", lambda *_: say("shown"))
    window.set_default_size(400, 200)
    window.show_all()
    windows.append(window)


def add_labels(count):
    for number in range(count):
        windows[0].get_child().add(Gtk.Label(label=str(number)))
    windows[0].show_all()


def obey(words):
    if words[0] == "focus":
        fields[words[1]].grab_focus()
    elif words[0] == "iconify":
        windows[0].iconify()
    elif words[0] == "labels":
        add_labels(int(words[1]))
    elif words[0] == "replace":
        windows.pop(0).destroy()
        make_window(["three"])
    say("done")


def read_orders(source, _condition):
    lines = os.read(source, 1000).decode().splitlines()
    if not lines:
        Gtk.main_quit()
        return False
    for line in lines:
        obey(line.split())
    return True


make_window(["one", "two"])
GLib.io_add_watch(channel.fileno(), GLib.IO_IN | GLib.IO_HUP, read_orders)
Gtk.main()
