/// @file
/// The factory of concrete libcurl handles.
#pragma once

#include <Hasnet/CurlEasy.h>
#include <Hasnet/CurlMulti.h>
#include <Hasnet/ICurlFactory.h>

#include <exception>
#include <memory>

namespace hascommon {

/// Makes `Easy` and `Multi` objects on the heap; has no state, so that any thread may use any
/// factory, and a handle may be given back to another than made it. (The name is spelled so.)
///
/// An object whose own libcurl handle is null never leaves the factory: it is freed, and
/// std::exception thrown.
/// @tparam Easy   implements ICurlEasy, default constructible
/// @tparam Multi  implements ICurlMulti, default constructible
template<typename Easy, typename Multi>
class HAS_API ConcreateCurlFactory : public ICurlFactory {
public:
    ICurlEasy* CreateCurlEasy() override { return create<Easy>(); }
    ICurlMulti* CreateCurlMulti() override { return create<Multi>(); }
    void ReleaseCurlEasy(ICurlEasy* easy) override { delete easy; }
    void ReleaseCurlMulti(ICurlMulti* multi) override { delete multi; }

private:
    /// A new object that holds a handle, or an exception.
    template<typename Handle>
    static Handle* create() {
        auto handle = std::make_unique<Handle>();
        if (handle->GetHandle() == nullptr)
            throw std::exception();
        return handle.release();
    }
};

/// The engine's own; instantiated in the library.
extern template class HAS_API ConcreateCurlFactory<CurlEasy, CurlMulti>;

} // namespace hascommon
