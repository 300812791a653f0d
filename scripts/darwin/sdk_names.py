"""The names of Apple's SDK, from the type declarations of a package generated from it.

A selector stands there as one word, its parts joined with a capital letter each, and with as many
parameters as it has colons: `initWithMachServiceName:options:` is
`initWithMachServiceNameOptions(name, options)`."""

import re


class Names:
    def __init__(self, types):
        """`types`: the package's folder of declarations."""
        self.members = {}    # class or protocol: {(name, number of parameters or None)}
        self.parents = {}    # class or protocol: those whose members it has too
        self.classes = {}    # class: its framework
        self.symbols = {}    # function or constant: its framework
        self.arities = {}    # function: the numbers of parameters that it may have
        self.enumerations = {}  # enumeration: {constant, often without its prefix: number}
        for framework in ("CoreFoundation", "Foundation", "Security", "Runtime", "Kernel"):
            self._read(framework, (types / f"{framework}.d.ts").read_text())

    def _read(self, framework, text):
        scope = None
        text = text.replace(", This extends abstract new (...args: any) => any", "")
        text = text.replace("<This extends abstract new (...args: any) => any>", "")
        text = text.replace("(this: This, ", "(").replace("(this: This)", "()")
        for line in text.split("\n"):
            if match := re.match(r"declare (class|interface) (\w+)(.*) \{$", line):
                kind, scope, bases = match.groups()
                self.members.setdefault(scope, set())
                self.parents.setdefault(scope, set()).update(
                    set(re.findall(r"\w+", re.sub(r"<[^>]*>", "", bases))) -
                    {"extends", "implements"})
                if kind == "class":
                    self.classes.setdefault(scope, framework)
            elif match := re.match(r"declare const (\w+): \{$", line):
                scope = match[1]
                self.enumerations[scope] = {}
            elif match := re.match(r"declare (?:function|const) (\w+)(?:\((.*)\):)?", line):
                self.symbols.setdefault(match[1], framework)
                if match[2] is not None:
                    self.arities.setdefault(match[1], set()).add(parameters(match[2]))
            elif line == "}" or line == "};":
                scope = None
            elif scope in self.enumerations:
                if match := re.match(r"  (\w+): (-?\d+),$", line):
                    self.enumerations[scope][match[1]] = int(match[2])
            elif scope in self.members:
                if match := re.match(r"  (?:static )?(?:readonly )?(\w+)\??: ", line):
                    self.members[scope].add((match[1], None))
                elif match := re.match(r"  (?:static )?(\w+)\??(?:<.*?>)?\((.*)\): .*;$", line):
                    self.members[scope].add((match[1], parameters(match[2])))

    def holds(self, scope, selector):
        """Whether `scope`, or what it comes from, has the selector; any scope when that is None."""
        scopes = list(self.members) if scope is None else [scope]
        wanted = {spelling(selector)}
        if ":" not in selector:
            wanted.add((selector, None))
        seen = set()
        while scopes:
            current = scopes.pop()
            if current in seen:
                continue
            seen.add(current)
            if wanted & self.members.get(current, set()):
                return True
            scopes += self.parents.get(current, ())
        return False


def spelling(selector):
    first, *others = [part for part in selector.split(":")]
    return first + "".join(part[:1].upper() + part[1:] for part in others), selector.count(":")


def parameters(text):
    """The number of parameters in a list of them."""
    depth, count = 0, 1 if text.strip() else 0
    for character in text.replace("=>", ""):
        depth += (character in "(<{[") - (character in ")>}]")
        count += character == "," and depth == 0
    return count
