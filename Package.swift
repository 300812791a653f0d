// swift-tools-version:5.9
// Offers the header of the helper's protocol to Swift; nothing is compiled. Not yet run.
import PackageDescription

let package = Package(
    name: "VelmoraHelperProtocol",
    products: [.library(name: "VelmoraHelperProtocol", targets: ["VelmoraHelperProtocol"])],
    targets: [.systemLibrary(name: "VelmoraHelperProtocol", path: "protocol/objc")]
)
