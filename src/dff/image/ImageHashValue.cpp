#include "dff/image/ImageHashValue.h"

namespace dff {

ImageHashValue::ImageHashValue(const AHashBits& a, const DHashBits& d)
    : dHash(d), aHash(a), aFold(a.fold()), dFold(d.fold()) {}

}  // namespace dff
