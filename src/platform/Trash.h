#pragma once
// Trash: moves an item into the freedesktop.org trash of the layout's home
// (Layout::trashDirectory(): "files" and "info" below it), standing in for
// the platform's move-to-trash call. The item keeps its data and file
// number: it is renamed, never copied, so an item on another file system
// than the trash fails with EXDEV. A name already used in "files" (or by an
// info file) is never replaced; " 2", " 3", ... are tried instead. The info
// file "info/NAME.trashinfo" holds "[Trash Info]", "Path=" the original
// absolute path percent-encoded, and "DeletionDate=" in local time.
//
// Threading: any thread. Two movers racing for one name are kept apart by
// creating the info file exclusively.
//
//   if (int error = platform::moveToTrash("/home/u/old.txt"); error != 0) report(error);

#include <string>

namespace platform {

// 0 when the item is in the trash, else the errno of the step that failed
// (nothing is left behind then). `trashedPath`, when given, receives the
// item's new path.
int moveToTrash(const std::string& path, std::string* trashedPath = nullptr);

}  // namespace platform
