// Lets operator new run out of memory at will, in the program that is linked with FailingNew.cpp.
#pragma once

namespace test {

/// While an object lives, `allowed` allocations succeed and all that follow fail, on the thread
/// that made the object. There may be one object at a time.
class FailingNew {
public:
    explicit FailingNew(int allowed);
    ~FailingNew();
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;

    /// Whether an allocation has failed.
    bool hasFailed() const;
};

} // namespace test
