#pragma once
// Core::Duplicate: one member of a group the duplicate finder reports,
// either a file (packages and folders included) or a photo of a library.
//
// Threading: a plain value.
//
//   for (const Core::Duplicate& d : group)
//       if (const Core::Photo* photo = d.photo()) remember(photo->id);
//       else show(d.file().url());

#include "Core/foundation/File.h"
#include "dff/api/Photo.h"

#include <utility>
#include <variant>

namespace Core {

class Duplicate {
public:
    static Duplicate makeFile(File file) { return Duplicate(std::move(file)); }
    static Duplicate makePhoto(Photo photo) { return Duplicate(std::move(photo)); }

    // The photo, or null for a plain file.
    const Photo* photo() const { return std::get_if<Photo>(&_value); }
    // The file of either kind.
    const File& file() const { return photo() ? photo()->file : std::get<File>(_value); }

    friend bool operator==(const Duplicate& a, const Duplicate& b) { return a._value == b._value; }

private:
    explicit Duplicate(std::variant<File, Photo> value) : _value(std::move(value)) {}
    std::variant<File, Photo> _value;
};

}  // namespace Core
