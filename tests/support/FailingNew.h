// Lets operator new run out of memory at will, in the program that is linked with FailingNew.cpp.
#pragma once

namespace test {

/// For as long as it lives, the allocation that comes after `allowed` others fails, and so do all
/// behind it. On the thread that made it; one at a time.
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
