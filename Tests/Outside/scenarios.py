"""The machines on which the client is tried, and the commands that are tried on them."""

import os
import plistlib

from scratch import write

ICONS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../Samples/Icons")

# Two resources, one of them in a folder of its own, so that an import saves several times.
FEED = b"""<?xml version="1.0" encoding="utf-8"?>
<ResourceCollection SchemaVersion="2.1" xmlns="http://schemas.microsoft.com/ts/2007/05/tswf">
  <Publisher Name="Larkfield" ID="apps.example.com"><Resources>
    <Resource ID="1" Alias="calc" Title="Calculator" Type="RemoteApp">
      <Icons><Icon32 FileType="Png" FileURL="/i/calculator.png" /></Icons>
      <FileExtensions><FileExtension Name=".labnote" /></FileExtensions>
      <HostingTerminalServers><HostingTerminalServer><ResourceFile FileExtension=".rdp" URL="/calc.rdp" />
      </HostingTerminalServer></HostingTerminalServers>
    </Resource>
    <Resource ID="2" Alias="desk" Title="Lab Desk" Type="Desktop">
      <Folders><Folder Name="/Desks/Deep" /></Folders>
      <HostingTerminalServers><HostingTerminalServer><ResourceFile FileExtension=".rdp" URL="/desk.rdp" />
      </HostingTerminalServer></HostingTerminalServers>
    </Resource>
  </Resources></Publisher>
</ResourceCollection>
"""


def icon(name):
    with open(os.path.join(ICONS, name), "rb") as file:
        return file.read()


def subscribe(name, folder=None, resource="Fleet:Writer", kind="application", *more):
    command = ["subscribe", "--resource", resource, "--type", kind, "--file-name", name, "--store", "Fleet",
               "--internal-url", "https://apps.example.com/", *more]
    return command + (["--folder", folder] if folder else [])


def empty(machine, model):
    """A machine on which no client ran yet, with files for a command to read."""
    machine.furnish()
    write(os.path.join(machine.root, "feed/feed.xml"), FEED)
    write(os.path.join(machine.root, "feed/icons/calculator.png"), icon("calculator_32x32.png"))


def furnished(machine, model):
    """A machine with subscriptions of a model, and among them things that are none."""
    empty(machine, model)
    require = lambda *arguments: machine.require("--model", model, *arguments)
    require(*subscribe("Writer", "Office", "Fleet:Writer", "application", "--description", "Writes", "--icon",
                       os.path.join(machine.root, "feed/icons/calculator.png"),
                       "--file-type", "Text:.odt,.zzt:Text document"))
    require(*subscribe("Sheet", "Office", "Fleet:Sheet"))
    require(*subscribe("Sheet again", "Home", "Fleet:Sheet", "application"))
    require(*subscribe("Desk", "Home", "Fleet:Desk", "desktop"))
    if model == "dictionary":
        require("create-folder", "Spare/Inner")
        with open(machine.store, "rb") as file:
            store = plistlib.load(file)
        # What this version does not know has to stay.
        store["Added by a later version"] = {"numbers": [1, 2.5, True], "data": b"\0\xff"}
        with open(machine.store, "wb") as file:
            plistlib.dump(store, file)
        return
    inside = lambda *names: os.path.join(machine.applications, *names)
    os.makedirs(inside("Spare/Inner"))
    write(inside("Spare/.DS_Store"), b"positions")
    write(inside("My Own.app/Contents/Info.plist"), b"<plist/>")
    write(inside("Office/notes.txt"), b"not a stub\n")
    # Nobody follows this one when the folder is removed.
    os.symlink(os.path.join(machine.root, "elsewhere"), inside("Home/Shortcut"))


def age(stub):
    """Makes a stub one that an earlier version wrote."""
    path = os.path.join(stub, "Contents/Info.plist")
    with open(path, "rb") as file:
        info = plistlib.load(file)
    info["KorvanVersionString"] = info["CFBundleShortVersionString"] = "0.9"
    with open(path, "wb") as file:
        plistlib.dump(info, file)
    write(os.path.join(stub, "Contents/MacOS/launcher"), b"#!/bin/sh\n# the launcher of 0.9\n", 0o755)
    write(os.path.join(stub, "Contents/Resources/of version 0.9"), b"x" * 5000)


def outdated(machine, model):
    """Stubs that are due for an upgrade, on a machine without a Trash."""
    furnished(machine, model)
    for stub in ("Office/Writer.app", "Home/Desk.app"):
        age(os.path.join(machine.applications, stub))


def outdated_with_trash(machine, model):
    """The same, and in the Trash are items of the same names already."""
    outdated(machine, model)
    for name in ("Writer.app", "Desk.app"):
        write(os.path.join(machine.trash, "files", name), b"an earlier one")
        write(os.path.join(machine.trash, "info", name + ".trashinfo"),
              b"[Trash Info]\nPath=/somewhere/" + name.encode() + b"\nDeletionDate=2020-02-02T02:02:02\n", 0o600)


def outdated_with_distant_temporary_folder(machine, model):
    outdated(machine, model)
    machine.use_distant_temporary_folder()


class Scenario:
    """A command on a machine. `atomic`: the applications folder is as before or as after, with nothing between.
    `upgrades`: old stubs go to the Trash. `walks`: the command is about what it finds, and what cannot be read is not
    there: no stub, or no newer template. `tolerant`: the command leaves out what it cannot do and goes on."""

    def __init__(self, name, model, prepare, command, atomic=False, upgrades=False, walks=False, tolerant=False):
        self.name = f"{model}: {name}"
        self.model = model
        self.prepare = lambda machine: prepare(machine, model)
        self.command = ["--model", model, *command]
        self.atomic = atomic
        self.upgrades = upgrades
        self.walks = walks
        self.tolerant = tolerant


IMPORT = ["import", "feed/feed.xml", "--icons", "feed/icons", "--folder", "Lab", "--url", "https://apps.example.com/f"]
ICON = ["--icon", "feed/icons/calculator.png"]

SCENARIOS = [
    Scenario("subscribe, first of all", "dictionary", empty, subscribe("Writer", "Office")),
    Scenario("subscribe", "dictionary", furnished, subscribe("New", "Office", "Fleet:New", "application", *ICON)),
    Scenario("subscribe, new folders", "dictionary", furnished, subscribe("New", "Far/Away")),
    Scenario("subscribe, replacing", "dictionary", furnished, subscribe("Writer", "Office", "Other:Writer")),
    Scenario("import", "dictionary", furnished, IMPORT, tolerant=True),
    Scenario("move", "dictionary", furnished, ["move", "Office/Writer", "Home/Writer 2"]),
    Scenario("move, replacing", "dictionary", furnished, ["move", "Office/Writer", "Office/Sheet"]),
    Scenario("remove", "dictionary", furnished, ["remove", "Office/Sheet"]),
    Scenario("remove-all", "dictionary", furnished, ["remove-all", "--resource", "Fleet:Sheet", "--store", "Fleet"]),
    Scenario("create-folder", "dictionary", furnished, ["create-folder", "One/Two"]),
    Scenario("rename-folder", "dictionary", furnished, ["rename-folder", "Office", "Work"]),
    Scenario("rename-folder, replacing", "dictionary", furnished, ["rename-folder", "Office", "Home"]),
    Scenario("remove-folder", "dictionary", furnished, ["remove-folder", "Office"]),
    Scenario("remove-folder, empty", "dictionary", furnished, ["remove-folder", "Spare", "--only-if-empty"]),

    Scenario("subscribe, first of all", "bundle", empty, subscribe("Writer", "Office")),
    Scenario("subscribe", "bundle", furnished,
             subscribe("New", "Office", "Fleet:New", "application", *ICON, "--file-type", "Kind:.zzn:New document")),
    Scenario("subscribe, new folders", "bundle", furnished, subscribe("New", "Far/Away", "Fleet:New", "desktop")),
    Scenario("subscribe, refreshing", "bundle", furnished,
             subscribe("Writer", "Office", "Other:Writer", "application", *ICON, "--file-type", "Kind:.zzn:New")),
    Scenario("import", "bundle", furnished, IMPORT, tolerant=True),
    Scenario("move", "bundle", furnished, ["move", "Office/Writer.app", "Home/Writer 2.app"], atomic=True),
    Scenario("remove", "bundle", furnished, ["remove", "Office/Writer.app"]),
    Scenario("remove-all", "bundle", furnished, ["remove-all", "--resource", "Fleet:Sheet", "--store", "Fleet"],
             walks=True),
    Scenario("create-folder", "bundle", furnished, ["create-folder", "One/Two"]),
    Scenario("rename-folder", "bundle", furnished, ["rename-folder", "Office", "Work"], atomic=True),
    Scenario("remove-folder", "bundle", furnished, ["remove-folder", "Home"]),
    Scenario("remove-folder, empty", "bundle", furnished, ["remove-folder", "Spare", "--only-if-empty"]),
    Scenario("upgrade of one", "bundle", outdated, ["upgrade", "Office/Writer.app"], upgrades=True, walks=True),
    Scenario("upgrade of all, used Trash", "bundle", outdated_with_trash, ["upgrade", *ICON], upgrades=True,
             walks=True),
    Scenario("upgrade, distant temporary folder", "bundle", outdated_with_distant_temporary_folder,
             ["upgrade", "Office/Writer.app"], upgrades=True, walks=True),
]
