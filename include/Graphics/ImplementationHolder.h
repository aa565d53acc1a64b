#pragma once

#include <memory>

namespace Graphics {

// The pimpl base of the public classes: holds the implementation object.
template <typename T>
class ImplementationHolder {
public:
    ImplementationHolder() = default;
    explicit ImplementationHolder(std::shared_ptr<T> implementation) : m_Implementation(std::move(implementation)) {}

    const std::shared_ptr<T>& GetImplementation() const { return m_Implementation; }

protected:
    std::shared_ptr<T> m_Implementation;
};

}  // namespace Graphics
