// Where LoadImage() finds the file that a device path names (UEFI 2.10, section 7.4.1): in a
// firmware volume, on a simple file system, or at a device that loads files itself.
#pragma once

namespace sim {

class Platform;

// Makes LoadImage() of this platform look there.
void AddImageFiles(Platform& platform);

} // namespace sim
