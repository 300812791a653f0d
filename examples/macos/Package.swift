// swift-tools-version:5.9
// The client that an application contains, an application that does nothing else, and the tests of
// the client beside a fake helper. Not yet compiled.
import PackageDescription

let helperProtocol: Target.Dependency = .product(
    name: "VelmoraHelperProtocol", package: "VelmoraHelperProtocol")

let package = Package(
    name: "Velmora",
    platforms: [.macOS("15.0")],
    dependencies: [.package(name: "VelmoraHelperProtocol", path: "../..")],
    targets: [
        .target(name: "Maintenance", dependencies: [helperProtocol]),
        .executableTarget(name: "Application", dependencies: ["Maintenance"]),
        .testTarget(name: "MaintenanceTests", dependencies: ["Maintenance", helperProtocol]),
    ]
)
