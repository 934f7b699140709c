// Enumerations shared by the text classes of the framework.
#ifndef OXNAMESPACE_H
#define OXNAMESPACE_H

namespace Ox {

// Case handling of comparisons and searches. Case-insensitive operations fold
// only the ASCII letters A to Z.
enum CaseSensitivity {
    CaseInsensitive = 0,
    CaseSensitive = 1
};

// Tag for constructors that allocate room without initialising it.
enum Initialization {
    Uninitialized
};

} // namespace Ox

#endif // OXNAMESPACE_H
