"""The helper is killed before each call that it makes for a request; the power could fail too."""

import unittest

from attacker import AttackedHelper
from scenarios import Operation, Removal, UndoneRemoval, empty_folders
from stage_support import main

if __name__ == "__main__":
    main()
