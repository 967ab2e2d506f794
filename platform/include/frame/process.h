// Process framework of the TV platform: hands out named interfaces.
// Any thread may call these; references are shared and outlive the call.
#pragma once

#include <boost/shared_ptr.hpp>
#include <string>

// The platform exports its classes; clients compiled with hidden visibility
// must still see them as the platform's (template instantiations over them included).
#pragma GCC visibility push(default)

namespace frame {

// The object behind an interface reference.
class Interface {
public:
    virtual ~Interface() = default;
    virtual void reservedInterfaceSlot() {}
    // The interface's object (for the model, the RootInterface); null when there is none.
    virtual void* getObject() = 0;
};

// A handle on the process framework; cheap to copy, returned by value.
class Process {
public:
    static Process getInstance();

    // Fills the reference with the interface registered under the name.
    // Returns 0 when it was filled, a non-zero platform status otherwise.
    int getInterfaceReference(boost::shared_ptr<Interface>& reference, const std::string& name);

private:
    Process() = default;
};

}  // namespace frame

#pragma GCC visibility pop
