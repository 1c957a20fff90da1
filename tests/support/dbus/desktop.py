# SPDX-License-Identifier: Apache-2.0
# The desktop's services on a bus of a test's own: GeoClue, the sensor proxy, and the portals for location and cameras.
# It reads commands from standard input, one a line, and writes what it was asked for.
#   deny | allow                      what the user says from now on
#   at LATITUDE LONGITUDE             a new place for whoever listens
#   hold WORD                         how the device is held
import os
import socket
import sys

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

PROPERTIES = "org.freedesktop.DBus.Properties"
dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
bus = dbus.bus.BusConnection(os.environ["DBUS_SESSION_BUS_ADDRESS"])
allowed = True
hold = "normal"
cameras = os.environ.get("VELMORA_TEST_CAMERAS", "")


def say(*words):
    print(*words, flush=True)


class Denied(dbus.DBusException):
    _dbus_error_name = "org.freedesktop.DBus.Error.AccessDenied"


class Place(dbus.service.Object):
    latitude = longitude = 0.0

    @dbus.service.method(PROPERTIES, in_signature="s", out_signature="a{sv}")
    def GetAll(self, interface):
        return words(self.latitude, self.longitude)


def words(latitude, longitude):
    return {"Latitude": dbus.Double(latitude), "Longitude": dbus.Double(longitude), "Accuracy": dbus.Double(12),
            "Altitude": dbus.Double(35), "Speed": dbus.Double(1.5), "Heading": dbus.Double(90),
            "Timestamp": dbus.Struct((dbus.UInt64(1767348000), dbus.UInt64(500000)), signature="tt")}


class Client(dbus.service.Object):
    interface = "org.freedesktop.GeoClue2.Client"
    running = False

    @dbus.service.method(PROPERTIES, in_signature="ssv")
    def Set(self, interface, name, value):
        say("set", name, value)

    @dbus.service.method(interface)
    def Start(self):
        if not allowed:
            raise Denied("the user said no")
        self.running = True
        say("started")

    @dbus.service.method(interface)
    def Stop(self):
        self.running = False
        say("stopped")

    @dbus.service.signal(interface, signature="oo")
    def LocationUpdated(self, old, new):
        pass


class Manager(dbus.service.Object):
    @dbus.service.method("org.freedesktop.GeoClue2.Manager", out_signature="o")
    def GetClient(self):
        return "/org/freedesktop/GeoClue2/Client/1"


class Sensors(dbus.service.Object):
    interface = "net.hadess.SensorProxy"

    @dbus.service.method(PROPERTIES, in_signature="s", out_signature="a{sv}")
    def GetAll(self, interface):
        return {"HasAccelerometer": True, "AccelerometerOrientation": hold}

    @dbus.service.method(interface)
    def ClaimAccelerometer(self):
        say("claimed")

    @dbus.service.method(interface)
    def ReleaseAccelerometer(self):
        say("released")


class Request(dbus.service.Object):
    @dbus.service.signal("org.freedesktop.portal.Request", signature="ua{sv}")
    def Response(self, answer, results):
        pass


def ask(sender, options):
    """What the user is asked; the answer comes later, as a signal."""
    path = "/org/freedesktop/portal/desktop/request/%s/%s" % (sender[1:].replace(".", "_"), options["handle_token"])
    request = Request(bus, path)

    def answer():
        request.Response(0 if allowed else 1, dbus.Dictionary({}, signature="sv"))
        request.remove_from_connection()

    GLib.idle_add(answer)
    return path


class Portal(dbus.service.Object):
    location = "org.freedesktop.portal.Location"
    camera = "org.freedesktop.portal.Camera"
    session = "/org/freedesktop/portal/desktop/session/velmora"

    @dbus.service.method(PROPERTIES, in_signature="s", out_signature="a{sv}")
    def GetAll(self, interface):
        return {"IsCameraPresent": True, "version": dbus.UInt32(1)}

    @dbus.service.method(location, in_signature="a{sv}", out_signature="o")
    def CreateSession(self, options):
        return self.session

    @dbus.service.method(location, in_signature="osa{sv}", out_signature="o", sender_keyword="sender")
    def Start(self, session, parent, options, sender=None):
        say("asked")
        return ask(sender, options)

    @dbus.service.signal(location, signature="oa{sv}")
    def LocationUpdated(self, session, update):
        pass

    @dbus.service.method(camera, in_signature="a{sv}", out_signature="o", sender_keyword="sender")
    def AccessCamera(self, options, sender=None):
        say("asked")
        return ask(sender, options)

    @dbus.service.method(camera, in_signature="a{sv}", out_signature="h")
    def OpenPipeWireRemote(self, options):
        if not allowed:
            raise Denied("the user said no")
        remote = socket.socket(socket.AF_UNIX)
        remote.connect(cameras)
        return dbus.types.UnixFd(remote.fileno())


class Session(dbus.service.Object):
    @dbus.service.method("org.freedesktop.portal.Session")
    def Close(self):
        say("closed")


client = Client(bus, "/org/freedesktop/GeoClue2/Client/1")
place = Place(bus, "/org/freedesktop/GeoClue2/Client/1/Location/0")
manager = Manager(bus, "/org/freedesktop/GeoClue2/Manager")
sensors = Sensors(bus, "/net/hadess/SensorProxy")
portal = Portal(bus, "/org/freedesktop/portal/desktop")
session = Session(bus, Portal.session)
names = [dbus.service.BusName(name, bus) for name in os.environ["VELMORA_TEST_SERVICES"].split()]


def command(source, condition):
    global allowed, hold
    line = sys.stdin.readline().split()
    if not line:
        os._exit(0)
    if line[0] in ("deny", "allow"):
        allowed = line[0] == "allow"
    elif line[0] == "hold":
        hold = line[1]
    elif line[0] == "at":
        place.latitude, place.longitude = float(line[1]), float(line[2])
        client.LocationUpdated("/", place.__dbus_object_path__)
        portal.LocationUpdated(Portal.session, words(place.latitude, place.longitude))
    say("done")
    return True


GLib.io_add_watch(sys.stdin.fileno(), GLib.IO_IN | GLib.IO_HUP, command)
say("ready")
GLib.MainLoop().run()
