// An application without windows: Velmora register | status | unregister | version | flush. It must
// run as the main executable of its bundle. Not yet compiled.
import Foundation
import Maintenance
import ServiceManagement

let identifier = Bundle.main.bundleIdentifier ?? ""
let team = Bundle.main.object(forInfoDictionaryKey: "VelmoraTeamIdentifier") as? String ?? ""
let service = SMAppService.daemon(plistName: identifier + ".maintenance-helper.plist")
let client = MaintenanceClient(applicationIdentifier: identifier, team: team)

func printStatus() {
    switch service.status {
    case .enabled: print("enabled")
    case .requiresApproval: print("requires approval in System Settings, Login Items")
    case .notRegistered: print("not registered")
    case .notFound: print("not found in this bundle, or never registered")
    @unknown default: print("status \(service.status.rawValue)")
    }
}

do {
    switch CommandLine.arguments.dropFirst().first {
    case "register":
        // This may raise although the registration stands and only the approval is missing.
        do { try service.register() } catch { print("register: \(error)") }
        if service.status == .requiresApproval { SMAppService.openSystemSettingsLoginItems() }
        printStatus()
    case "status":
        printStatus()
    case "unregister":
        try await service.unregister()
    case "version":
        print(try await client.protocolVersion())
    case "flush":
        try await client.flushDNSCache()
        print("flushed")
    default:
        print("usage: Velmora register | status | unregister | version | flush")
        exit(2)
    }
} catch {
    print("failed: \(error)")
    exit(1)
}
