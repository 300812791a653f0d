"""The helper is killed before each call that it makes for a request, and the power fails later."""

from scenarios import CALLS, Operation, Removal, SweepTestCase, UndoneRemoval
from stage_support import main


class Disk:
    """What the calls made so far have not yet brought to the disk, where a power cut loses it."""

    def __init__(self):
        self.loose = set()  # the contents of files and folders, attributes included, and names
        self.folder, self.problems = "", []

    def follow(self, records):
        for record in records:
            if not record.error:
                getattr(self, record.call, lambda path: None)(record.subject)

    def create(self, path):
        self.loose |= {("content", path), ("name", path)}

    def mkdir(self, path):
        self.create(path)
        self.folder = path

    def write(self, path):
        self.loose.add(("content", path))

    fchmod = fchown = write

    def rename(self, path):
        self.loose = {(what, path if of == path + ".partial" else of) for what, of in self.loose}
        self.loose.add(("name", path))

    def fsync(self, path):
        self.loose -= {(what, of) for what, of in self.loose
                       if (path if what == "content" else path + "/" + of.split("/")[-1]) == of}

    def unlinkat(self, path):
        """Nothing may be deleted before its archive, and the way there, is safe."""
        self.problems += [f"{path} is deleted before the {what} of {of} is safe"
                          for what, of in sorted(self.loose)
                          if of.startswith(self.folder) or self.folder.startswith(of + "/")]


class CrashSweep(SweepTestCase):
    def sweep(self, scenario):
        super().sweep(scenario, scenario.kills, self.resume)

    def resume(self, scenario, attack, fault):
        """What the next helper makes of the same request, and where a power cut leads then."""
        CALLS.write_bytes(b"")
        disk = Disk()
        disk.follow(attack.records)
        if scenario.is_left():
            second = self.helper.attack(scenario, earlier=fault)
            disk.follow(second.records)
            yield from second.problems
            if not scenario.is_as_ever(second.reply):
                yield f"the next request: {second.reply}"
        yield from disk.problems

    def test_removal(self):
        self.sweep(Removal())

    def test_removal_that_is_undone(self):
        self.sweep(UndoneRemoval())

    def test_operation(self):
        self.sweep(Operation())


if __name__ == "__main__":
    main()
