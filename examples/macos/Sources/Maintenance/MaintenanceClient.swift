// A client of the maintenance helper. Each call makes a connection of its own, so that one that has
// ended is never used again. Not yet compiled.
import Foundation
import VelmoraHelperProtocol

public enum MaintenanceError: Error {
    case busy  // another operation runs: try again later
    case failed(String)  // the helper's message, fit to be shown
    case noAnswer(any Error)  // not registered, not approved, refused, or ended
}

public struct MaintenanceClient {
    private let connect: () -> NSXPCConnection

    /// A client of the installed helper, which must be signed by `team` as the application is.
    public init(applicationIdentifier: String, team: String) {
        let service = applicationIdentifier + VelmoraHelperServiceNameEnding
        connect = {
            let connection = NSXPCConnection(machServiceName: service, options: .privileged)
            connection.setCodeSigningRequirement(
                "identifier \"\(service)\" and anchor apple generic"
                    + " and certificate leaf[subject.OU] = \"\(team)\"")
            return connection
        }
    }

    /// A client of a listener in this process: of a fake helper, in tests.
    public init(endpoint: NSXPCListenerEndpoint) {
        connect = { NSXPCConnection(listenerEndpoint: endpoint) }
    }

    public func protocolVersion() async throws -> String {
        try await call { helper, answer in helper.protocolVersion(reply: { answer(.success($0)) }) }
    }

    public func flushDNSCache() async throws { try await run { $0.flushDNSCache(reply: $1) } }
    public func freeMemory() async throws { try await run { $0.freeMemory(reply: $1) } }
    public func rebuildSpotlightIndex() async throws {
        try await run { $0.rebuildSpotlightIndex(reply: $1) }
    }
    public func repairUserPermissions() async throws {
        try await run { $0.repairUserPermissions(reply: $1) }
    }
    public func thinLocalSnapshots() async throws {
        try await run { $0.thinLocalSnapshots(reply: $1) }
    }

    /// Removes the items named by `itemKeys` ("userAgent|org.example.updater") and returns the keys
    /// of those removed. After an error some may be gone: look again.
    public func removeBackgroundItems(_ itemKeys: [String]) async throws -> [String] {
        let request = try JSONEncoder().encode(itemKeys)
        let response: Data = try await call { helper, answer in
            helper.removeLegacyBackgroundItems(
                request,
                reply: { ok, response, message in
                    answer(ok ? .success(response ?? Data()) : .failure(Self.error(message)))
                })
        }
        return try JSONDecoder().decode([String].self, from: response)
    }

    private typealias Helper = any VelmoraMaintenanceHelperXPC

    private func run(_ operation: @escaping (Helper, @escaping (Bool, String?) -> Void) -> Void)
        async throws
    {
        try await call { helper, answer in
            operation(helper) { ok, message in
                answer(ok ? .success(()) : .failure(Self.error(message)))
            }
        }
    }

    // Exactly one of the reply and the error handler is called, once; so the continuation is
    // resumed once.
    private func call<Value>(
        _ body: (Helper, @escaping (Result<Value, any Error>) -> Void) -> Void
    ) async throws -> Value {
        let connection = connect()
        connection.remoteObjectInterface = NSXPCInterface(with: VelmoraMaintenanceHelperXPC.self)
        connection.resume()
        defer { connection.invalidate() }
        return try await withCheckedThrowingContinuation { continuation in
            let proxy = connection.remoteObjectProxyWithErrorHandler {
                continuation.resume(throwing: MaintenanceError.noAnswer($0))
            }
            body(proxy as! Helper) { continuation.resume(with: $0) }
        }
    }

    private static func error(_ message: String?) -> MaintenanceError {
        message == VelmoraOperationAlreadyRunningMessage ? .busy : .failed(message ?? "")
    }
}
