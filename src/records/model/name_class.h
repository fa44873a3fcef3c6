// What the name rules say about one name, all at once: the answers of a single pass over it. A plain value, one byte.
#pragma once

namespace tavi::records {

struct NameClass {
    bool temporary : 1 = false;       // IsTemporaryFileName
    bool lock : 1 = false;            // IsLockFileName
    bool special : 1 = false;         // matches a special pattern as it stands
    bool specialLowered : 1 = false;  // its lower-cased form matches a special pattern
    bool hydration : 1 = false;       // the temporary file through which a placeholder is filled

    friend bool operator==(const NameClass&, const NameClass&) = default;
};

}  // namespace tavi::records
