"""Build constants that would protect nothing: build_constants_test.py SOURCE CMAKE."""

import subprocess
import sys
import tempfile
import unittest

SOURCE, CMAKE = sys.argv[1:3]
CASES = {  # values that are taken, and values that stop the build
    "VENDOR_LABEL_PREFIX": (["org.example_1.", "x."],
                            ["com.velmorA.", "com.velmora", "", "com..velmora.", "com.9velmora.",
                             "com.vel-mora.", "a" * 240 + "."]),
    "CLIENT_BUNDLE_IDENTIFIER": (["org.Example-1.App"], ["", "com.velmora\"app", "a;b"]),
    "CODE_SIGNING_ANCHORS": (["/a b.pem"], ["anchors.pem", "/etc/a\"b.pem"]),
}


class BuildConstants(unittest.TestCase):
    def test_takes_constant_that_would_protect_nothing_or_refuses_another(self):
        cases = [(name, value, is_good) for name, (good, bad) in CASES.items()
                 for is_good, values in ((True, good), (False, bad)) for value in values]
        for name, value, is_good in cases:
            with self.subTest(name, value=value), tempfile.TemporaryDirectory() as folder:
                result = subprocess.run(
                    [CMAKE, f"-DPROJECT_SOURCE_DIR={SOURCE}", f"-DPROJECT_BINARY_DIR={folder}",
                     f"-D{name}={value}", "-P", f"{SOURCE}/cmake/build_constants.cmake"],
                    capture_output=True, text=True, timeout=60)
                self.assertEqual(result.returncode == 0, is_good)
                self.assertEqual(name in result.stderr.split("Call Stack")[0], not is_good)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
