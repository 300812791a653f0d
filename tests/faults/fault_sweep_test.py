"""Each call that the helper makes for a request fails once, in every way it can; memory too."""

from scenarios import Admission, Operation, Removal, SweepTestCase, UndoneRemoval
from stage_support import main


class FaultSweep(SweepTestCase):
    def sweep(self, scenario):
        super().sweep(scenario, scenario.faults)

    def test_removal(self):
        self.sweep(Removal())

    def test_removal_that_is_undone(self):
        self.sweep(UndoneRemoval())

    def test_operation(self):
        self.sweep(Operation())

    def test_admission(self):
        self.sweep(Admission())


if __name__ == "__main__":
    main()
