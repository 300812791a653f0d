"""The information property list in the executable: …_test.py HELPER BUILD_CONSTANTS."""

import plistlib
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

HELPER, CONSTANTS = sys.argv[1:3]


class InformationPropertyList(unittest.TestCase):
    def test_executable_carries_the_list_whole_and_with_its_own_name(self):
        with tempfile.TemporaryDirectory() as folder:
            section = Path(folder, "section")
            subprocess.run(["objcopy", "-O", "binary", "--only-section=__info_plist", HELPER,
                            section], check=True)
            data = section.read_bytes()
        name = re.search("HelperServiceName='(.*)'", Path(CONSTANTS).read_text())[1]
        self.assertEqual(plistlib.loads(data), {
            "CFBundleIdentifier": name, "CFBundleExecutable": "VelmoraMaintenanceHelper",
            "CFBundleName": "VelmoraMaintenanceHelper", "CFBundleVersion": "6",
            "CFBundleDisplayName": "Velmora Maintenance Helper", "CFBundleDevelopmentRegion": "en",
            "CFBundleInfoDictionaryVersion": "6.0", "LSMinimumSystemVersion": "15.0",
            "CFBundleSupportedPlatforms": ["MacOSX"],
        })


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
