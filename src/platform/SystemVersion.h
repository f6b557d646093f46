#pragma once
// SystemVersion: the version of the operating system the library serves,
// as the platform's process information gives it. Read from "ProductVersion"
// of "/System/Library/CoreServices/SystemVersion.plist" under the layout's
// root, so that tests and the console host can pose as any release.
//
// Threading: any thread; reads the file on every call (it is small, and a
// test may change the root between calls).
//
//   if (platform::operatingSystemVersion().majorVersion >= 13) useNewWords();

namespace platform {

struct OperatingSystemVersion {
    long majorVersion = 13;
    long minorVersion = 0;
    long patchVersion = 0;
};

// The version in the layout's system; 13.0.0 when the file is missing, can't
// be parsed, or its "ProductVersion" is no string that begins with a number.
// Missing or unreadable minor and patch parts count 0.
OperatingSystemVersion operatingSystemVersion();

}  // namespace platform
