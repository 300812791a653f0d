"""Whether everything that the stub of Apple's frameworks declares is in Apple's SDK."""

import json
import subprocess


def declarations(command, stub):
    """What `command`, a compiler's, sees declared in the files of `stub`. Places are told only where
    they differ from the one before, so the whole tree is walked in order."""
    tree = json.loads(subprocess.run(command, check=True, capture_output=True).stdout)
    file, found = "", []

    def note_place(place):
        nonlocal file
        for key, value in place.items():
            if key == "file":
                file = value
            elif key in ("begin", "end", "spellingLoc", "expansionLoc"):
                note_place(value)

    def walk(node, owner):
        for key, value in node.items():
            if key == "loc":
                note_place(value)
                if file.startswith(stub) and "name" in node:
                    found.append((node, owner))
            elif key == "range":
                note_place(value)
            elif key == "inner":
                for child in value:
                    walk(child, node)

    walk(tree, None)
    return found


def value_of(node):
    """The number of an enumeration's constant, which stands somewhere in its expression."""
    for child in node.get("inner", ()):
        return int(child["value"]) if "value" in child else value_of(child)
    return 0


def finding(node, owner, names):
    """What is wrong with one declaration, or nothing."""
    kind, name = node["kind"], node["name"]
    if kind == "ObjCInterfaceDecl":
        return name in names.classes or f"the SDK has no class {name}"
    if kind == "ObjCProtocolDecl":
        return name in names.members or f"the SDK has no protocol {name}"
    if kind in ("ObjCMethodDecl", "ObjCPropertyDecl"):
        return (names.holds(owner["name"], name) or
                f"the SDK's {owner['name']} has no {name}")
    if kind == "FunctionDecl":
        count = sum(child["kind"] == "ParmVarDecl" for child in node.get("inner", ()))
        return (count in names.arities.get(name, ()) or
                f"the SDK has no function {name} of {count} parameters")
    if kind == "VarDecl" and name != "__dso_handle":  # that one is the linker's
        return name in names.symbols or f"the SDK has no constant {name}"
    if kind == "EnumConstantDecl":
        number = value_of(node)
        known = [value for short, value in
                 names.enumerations.get(owner.get("name"), {}).items() if name.endswith(short)]
        return (number in known if known else name in names.symbols) or \
            f"the SDK has no {name} = {number}"
    return True


def findings(command, stub, names):
    found = declarations(command, stub)
    if not any(node["kind"] == "ObjCMethodDecl" for node, _ in found):
        return ["the compiler showed no declaration of the stub"]
    results = [finding(node, owner, names) for node, owner in found]
    return [f"stub: {result}" for result in results if result is not True]
