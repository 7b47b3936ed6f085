// The packet ring and the byte queue, by sequences of operations against models.
#include <Hasutil/CTSPacketBuffer.h>
#include <Hasutil/StringBuffer.h>
#include <Input.h>
#include <support/ExactBytes.h>
#include <support/RingModel.h>

#include <string>

namespace {

using fuzz::Input;
using fuzz::require;
using hascommon::CTSPacketBuffer;
using hascommon::StringBuffer;
using test::ExactBytes;
using test::RingModel;

/// Bytes whose values tell their place in the push.
ExactBytes marked(unsigned int mark, size_t size) {
    ExactBytes bytes(size);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<unsigned char>(mark + i * 7);
    return bytes;
}

void popBoth(CTSPacketBuffer& ring, RingModel& model, unsigned int size, bool toNull) {
    std::vector<unsigned char> expected(size, 0xEE);
    const ExactBytes out(expected);
    const bool popped = ring.PopFront(size, toNull ? nullptr : out.data());
    require(popped == model.popFront(size, expected));
    require(toNull || out.copy() == expected);
}

void stepRing(Input& input, CTSPacketBuffer& ring, RingModel& model) {
    const unsigned int operation = input.byte() % 8;
    const unsigned int size = input.word() % 2000;
    const ExactBytes bytes = marked(size, operation == 1 ? 188 : size);
    std::vector<unsigned char> front(188, 0xEE);
    const ExactBytes out(front);
    switch (operation) {
    case 0:
        return require(ring.PushBack(bytes.data(), size) == model.pushBack(bytes.data(), size));
    case 1:
        return require(ring.PushBackPacket(bytes.data()) == model.pushBackPacket(bytes.data()));
    case 2:
    case 3:
        return popBoth(ring, model, size, operation == 3);
    case 4:
        ring.PopFront();
        return model.popFront();
    case 5:
        require(ring.GetFront(out.data()) == model.getFront(front));
        return require(out.copy() == front);
    case 6:
        ring.Clear();
        return model.clear();
    default:
        ring.SetMaxSize(size);
        return model.setMaxSize(size);
    }
}

void driveRing(Input input) {
    const unsigned int capacity = input.word() % 2500;
    CTSPacketBuffer ring(capacity);
    RingModel model(capacity);
    while (!input.empty()) {
        stepRing(input, ring, model);
        require(ring.Size() == model.size() && ring.FreeSize() == model.freeSize());
        require(ring.MaxSize() == model.maxSize() && ring.Empty() == (model.size() == 0));
    }
}

void stepQueue(Input& input, StringBuffer& queue, std::string& model) {
    const unsigned int operation = input.byte() % 4;
    const unsigned int size = input.word() % 2500;
    const ExactBytes bytes = marked(operation, size);
    if (operation < 2 && model.size() < 20000) {
        require(queue.PushBack(bytes.data(), size));
        model.append(reinterpret_cast<const char*>(bytes.data()), size);
    } else if (operation == 2) {
        require(queue.PopFront(size, bytes.data()) == (size <= model.size()));
        if (size > model.size())
            return;
        require(model.compare(0, size, reinterpret_cast<const char*>(bytes.data()), size) == 0);
        model.erase(0, size);
    } else if (size < 100) {
        queue.Clear();
        model.clear();
    }
}

void driveQueue(Input input) {
    StringBuffer queue(input.byte());
    std::string model;
    while (!input.empty()) {
        stepQueue(input, queue, model);
        require(queue.Size() == model.size());
    }
    require(queue.GetString() == model);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const Input input(data, size);
    driveRing(input);
    driveQueue(input);
    return 0;
}
