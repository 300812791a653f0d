"""The Objective-C header says what the sources say: objective_c_header_test.py SOURCE."""

import re
import sys
import unittest
from pathlib import Path

SOURCE = Path(sys.argv[1])
MESSAGE, CASE = r'{} =\s*"(.*?)";', r'case Case::{}:\s*return [^;]*?"([^"]*)"{};'

# Each constant of the header without its prefix: the source that has it, and where.
CONSTANTS = {
    "protocol/velmora_maintenance_helper_xpc.h": {
        "ProtocolVersion": MESSAGE.format("ProtocolVersion")},
    "cmake/build_constants.cmake": {
        "HelperServiceNameEnding": r'HELPER_SERVICE_NAME "\$\{CLIENT_BUNDLE_IDENTIFIER\}(.*)"'},
    "protocol/operations.h": {
        name + "Budget": rf"MaintenanceOperation {name} = \{{\s*\"[^\"]*\", (\d+),"
        for name in ("DNSCacheFlush", "SpotlightIndexRebuild", "UserPermissionRepair",
                     "SnapshotThinning", "MemoryPurge")
    } | {"RemovalBudget": r"RemovalBudgetSeconds = (\d+);",
         "OperationAlreadyRunningMessage": MESSAGE.format("OperationAlreadyRunningMessage")},
    "removal/removal_request.h": {"MaximumRequestedItems": r"maximumRequestedItems = (\d+);"},
    "removal/launchd_label.cc": {"MaximumLabelBytes": r"maximumLabelBytes = (\d+);"},
    "removal/location_kind.cc": {
        kind[0].upper() + kind[1:] + "Kind": rf'LocationKind::{kind}:\s*return "(.*)";'
        for kind in ("userAgent", "sharedAgent", "systemDaemon")},
    "front/failure.cc": {
        "OutOfMemoryMessage": MESSAGE.format("outOfMemoryMessage"),
        "UnknownFailureMessage": r'catch \(\.\.\.\) \{\s*return "(.*)";'},
    "runner/helper_command_error.cc": {
        "DiagnosticUnavailableMessage": CASE.format("diagnosticUnavailable", ""),
        "ToolTimedOutEnding": CASE.format("timedOut", ""),
        "ToolFailedPart": r'executable_ \+ "(.*?)" \+ std::to_string'},
    "removal/legacy_background_item_removal_error.cc": {
        "InvalidRequestMessage": CASE.format("invalidRequest", ""),
        "UserUnavailableMessage": CASE.format("userUnavailable", ""),
        "ArchiveUnavailableMessage": CASE.format("archiveUnavailable", ""),
        "ItemNotFoundEnding": CASE.format("itemNotFound", ""),
        "AmbiguousItemEnding": CASE.format("ambiguousItem", ""),
        "ItemChangedEnding": CASE.format("itemChanged", ""),
        "RemovalFailedPart": CASE.format("removalFailed", r' \+ detail_ \+ "\."'),
        "UnsafePathEnding": CASE.format("unsafePath", "")},
}


class ObjectiveCHeader(unittest.TestCase):
    HEADER = (SOURCE / "protocol/objc/VelmoraMaintenanceHelperXPC.h").read_text()

    def test_constants_are_those_of_the_sources(self):
        said = dict(re.findall(r'^static [\w* ]* Velmora(\w+) =\s*@?"?(.*?)"?;', self.HEADER,
                               re.MULTILINE))
        meant = {}
        for path, patterns in CONSTANTS.items():
            text = (SOURCE / path).read_text().replace(r"\u2019", "\u2019")
            for name, pattern in patterns.items():
                found = re.findall(pattern, text)
                self.assertEqual(len(found), 1, f"{name} in {path}")
                meant[name] = found[0]
        self.assertEqual(said, meant)
        page = (SOURCE / "docs/messages.md").read_text()
        for name, text in said.items():
            self.assertIn(text.strip(" :"), page, f"{name} in docs/messages.md")

    def test_methods_are_those_of_the_protocol_in_its_order(self):
        said = re.findall(r"^- \(void\)(\w+)", self.HEADER, re.MULTILINE)
        text = (SOURCE / "protocol/velmora_maintenance_helper_xpc.h").read_text()
        self.assertEqual(said, re.findall(r"virtual void (\w+)\(", text))
        self.assertEqual(len(said), 7)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
