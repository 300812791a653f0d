// Takes the whole portable library and no other: whatever in it needed a system's own library
// would not link here.
int main() {}
