#pragma once
// Abstract root of the platform's polymorphic interfaces (ports, task dispatchers).

namespace kel::com {

class Interface {
public:
    virtual ~Interface() = 0;

protected:
    Interface() = default;
    Interface(const Interface&) = default;
    Interface& operator=(const Interface&) = default;
};

inline Interface::~Interface() = default;

}  // namespace kel::com
