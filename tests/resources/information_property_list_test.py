"""The information property list in the executable: …_test.py HELPER BUILD_CONSTANTS."""

import plistlib
import re
import subprocess
import sys
import tempfile
from pathlib import Path

helper, constants = sys.argv[1:3]
with tempfile.NamedTemporaryFile() as section:
    subprocess.run(["objcopy", "-O", "binary", "--only-section=__info_plist", helper,
                    section.name], check=True)
    data = Path(section.name).read_bytes()
name = re.search("HelperServiceName='(.*)'", Path(constants).read_text())[1]
assert plistlib.loads(data)["CFBundleIdentifier"] == name, data
assert data.endswith(b"</plist>\n"), "cut, or something follows it"
