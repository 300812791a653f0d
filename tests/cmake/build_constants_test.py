"""Build constants that would protect nothing: build_constants_test.py SOURCE CMAKE."""

import subprocess
import sys
import tempfile
import unittest

SOURCE, CMAKE = sys.argv[1:3]
BAD = {
    "VENDOR_LABEL_PREFIX": ["Com.Velmora.", "com.velmorA.", "com.velmora", ".", "", "com..velmora.",
                            ".com.", "com.vel-mora.", "com.9velmora.", "com.vélmora.", "com. a.",
                            "a" * 240 + "."],
    "CLIENT_BUNDLE_IDENTIFIER": ["", "com.velmora\"app", "com.velmora app", "com.velmora_app",
                                 "com/velmora", "com.velmora.äpp", "com.velmora.app\n", "a;b"],
    "CODE_SIGNING_ANCHORS": ["", "anchors.pem", "/etc/a\"b.pem"],
}
GOOD = {"VENDOR_LABEL_PREFIX": ["org.example_1.", "x."],
        "CLIENT_BUNDLE_IDENTIFIER": ["org.Example-1.App"], "CODE_SIGNING_ANCHORS": ["/a b.pem"]}


class BuildConstants(unittest.TestCase):
    def test_only_a_constant_that_would_protect_nothing_stops_the_build(self):
        cases = [(table is GOOD, name, value) for table in (GOOD, BAD)
                 for name, values in table.items() for value in values]
        for is_good, name, value in cases:
            with self.subTest(name, value=value), tempfile.TemporaryDirectory() as folder:
                result = subprocess.run(
                    [CMAKE, f"-DPROJECT_SOURCE_DIR={SOURCE}", f"-DPROJECT_BINARY_DIR={folder}",
                     f"-D{name}={value}", "-P", f"{SOURCE}/cmake/build_constants.cmake"],
                    capture_output=True, text=True, timeout=60)
                self.assertEqual(result.returncode == 0, is_good)
                self.assertEqual(name in result.stderr.split("Call Stack")[0], not is_good)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
