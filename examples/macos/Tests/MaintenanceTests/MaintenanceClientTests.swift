import VelmoraHelperProtocol
import XCTest

@testable import Maintenance

final class MaintenanceClientTests: XCTestCase {
    func testEachAnswerBecomesWhatTheCallerMustTellApart() async throws {
        let helper = FakeHelper(
            .done, .says(VelmoraOperationAlreadyRunningMessage),
            .says("purge exited with status 1"), .nothing, .removed("[\"userAgent|org.example.x\"]"))
        // The compiler may let go of the helper, and its listener, after its last use.
        defer { withExtendedLifetime(helper) {} }
        let client = MaintenanceClient(endpoint: helper.endpoint)

        let version = try await client.protocolVersion()
        XCTAssertEqual(version, VelmoraProtocolVersion)
        try await client.flushDNSCache()
        await expect("busy") { try await client.freeMemory() }
        await expect("failed(\"purge exited with status 1\")") { try await client.freeMemory() }
        await expect("noAnswer") { try await client.freeMemory() }
        let removed = try await client.removeBackgroundItems(["userAgent|org.example.x"])
        XCTAssertEqual(removed, ["userAgent|org.example.x"])
    }

    private func expect(_ description: String, _ call: () async throws -> Void) async {
        do {
            try await call()
            XCTFail("no error")
        } catch {
            XCTAssertTrue("\(error)".hasPrefix(description), "\(error)")
        }
    }
}
