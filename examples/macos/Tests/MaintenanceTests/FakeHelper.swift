// A helper for tests, in the test's own process, without root and without signatures: it answers
// each call with the next line of its script. Not yet compiled.
import Foundation
import VelmoraHelperProtocol

final class FakeHelper: NSObject, NSXPCListenerDelegate, VelmoraMaintenanceHelperXPC {
    enum Answer {
        case done
        case removed(String)  // the response, JSON
        case says(String)  // the message of a refusal or a failure
        case nothing  // the connection ends before an answer
    }

    private let anonymous = NSXPCListener.anonymous()
    private let lock = NSLock()
    private var script: [Answer]

    init(_ script: Answer...) {
        self.script = script
        super.init()
        anonymous.delegate = self
        anonymous.resume()
    }

    var endpoint: NSXPCListenerEndpoint { anonymous.endpoint }

    func listener(
        _ listener: NSXPCListener, shouldAcceptNewConnection newConnection: NSXPCConnection
    ) -> Bool {
        newConnection.exportedInterface = NSXPCInterface(with: VelmoraMaintenanceHelperXPC.self)
        newConnection.exportedObject = self
        newConnection.resume()
        return true
    }

    func protocolVersion(reply: @escaping (String) -> Void) { reply(VelmoraProtocolVersion) }
    func flushDNSCache(reply: @escaping (Bool, String?) -> Void) { play(reply) }
    func rebuildSpotlightIndex(reply: @escaping (Bool, String?) -> Void) { play(reply) }
    func repairUserPermissions(reply: @escaping (Bool, String?) -> Void) { play(reply) }
    func thinLocalSnapshots(reply: @escaping (Bool, String?) -> Void) { play(reply) }
    func freeMemory(reply: @escaping (Bool, String?) -> Void) { play(reply) }
    func removeLegacyBackgroundItems(
        _ request: Data, reply: @escaping (Bool, Data?, String?) -> Void
    ) {
        switch next() {
        case .done: reply(true, request, nil)
        case .removed(let response): reply(true, Data(response.utf8), nil)
        case .says(let message): reply(false, nil, message)
        case .nothing: NSXPCConnection.current()?.invalidate()
        }
    }

    private func play(_ reply: @escaping (Bool, String?) -> Void) {
        switch next() {
        case .done, .removed: reply(true, nil)
        case .says(let message): reply(false, message)
        case .nothing: NSXPCConnection.current()?.invalidate()
        }
    }

    private func next() -> Answer {
        lock.lock()
        defer { lock.unlock() }
        return script.isEmpty ? .nothing : script.removeFirst()
    }
}
