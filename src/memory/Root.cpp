#include <quarn/Root.h>

namespace Quarn {

// Out of line so that the classes' type information and vtables live in the library.
Root::~Root() {}
Refcountable::~Refcountable() {}
Cloneable::~Cloneable() {}

} // namespace Quarn
