#include "library/pure/DevicePath.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <vector>

namespace {

using Bytes = std::vector<UINT8>;

const EFI_DEVICE_PATH_PROTOCOL* Path(const Bytes& bytes) {
    return reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(bytes.data());
}
Bytes Join(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

const Bytes kRoot = {2, 1, 12, 0, 0xD0, 0x41, 0x03, 0x0A, 0, 0, 0, 0};
const Bytes kPci = {1, 1, 6, 0, 2, 0x1F};
const Bytes kUsb = {3, 5, 6, 0, 1, 0};
const Bytes kNext = {0x7F, 0x01, 4, 0};
const Bytes kEnd = {0x7F, 0xFF, 4, 0};
const Bytes kOne = Join({kRoot, kPci, kEnd});
const Bytes kTwo = Join({kRoot, kPci, kNext, kUsb, kEnd});

// Runs a composing function twice: to measure, and into a buffer of exactly that size.
template <class Compose>
Bytes Composed(Compose compose) {
    const size_t size = compose(std::span<UINT8>());
    Bytes out(size);
    EXPECT_EQ(compose(std::span<UINT8>(out)), size);
    return out;
}

TEST(DevicePath, WalksNodesOfTheFirstInstanceOnly) {
    std::vector<int> subTypes;
    for (const auto* node : kelm::DevicePathNodes(Path(kTwo))) {
        subTypes.push_back(node->Type);
    }
    EXPECT_EQ(subTypes, (std::vector<int>{2, 1}));
    EXPECT_EQ(kelm::LastNode(Path(kTwo))->Type, 1);
    EXPECT_EQ(kelm::LastNode(Path(kEnd)), nullptr);
    EXPECT_EQ(kelm::FindNode(Path(kTwo), 3, 5), nullptr);
    const auto* pci = kelm::NodeAs<PCI_DEVICE_PATH>(kelm::FindNode(Path(kTwo), 1, 1), 1, 1);
    ASSERT_NE(pci, nullptr);
    EXPECT_EQ(pci->Device, 0x1F);
    EXPECT_EQ(kelm::NodeAs<PCI_DEVICE_PATH>(Path(kRoot), 1, 1), nullptr);
    const Bytes shortPci = {1, 1, 5, 0, 2};
    EXPECT_EQ(kelm::NodeAs<PCI_DEVICE_PATH>(Path(shortPci), 1, 1), nullptr);
}

TEST(DevicePath, SplitsAndCountsInstances) {
    const Bytes three = Join({kNext, kPci, kNext, kUsb, kEnd});
    std::vector<Bytes> instances;
    const auto* cursor = Path(three);
    while (const auto instance = kelm::NextInstance(cursor)) {
        instances.emplace_back(instance->begin(), instance->end());
    }
    EXPECT_EQ(instances, (std::vector<Bytes>{{}, kPci, kUsb}));
    EXPECT_EQ(kelm::InstanceCount(Path(three)), 3u);
    EXPECT_EQ(kelm::InstanceCount(Path(kOne)), 1u);
    EXPECT_EQ(kelm::InstanceCount(nullptr), 0u);
    EXPECT_TRUE(kelm::IsMultiInstance(Path(three)));
    EXPECT_FALSE(kelm::IsMultiInstance(Path(kOne)));
}

TEST(DevicePath, ComposesIntoBuffersOfExactlyTheMeasuredSize) {
    using Out = std::span<UINT8>;
    const Bytes pci = Join({kPci, kEnd});
    const Bytes root = Join({kRoot, kEnd});
    const Bytes usb = Join({kUsb, kEnd});
    EXPECT_EQ(Composed([&](Out out) { return kelm::AppendDevicePath(out, Path(root), Path(pci)); }),
              kOne);
    EXPECT_EQ(
        Composed([&](Out out) { return kelm::AppendDevicePathNode(out, Path(root), Path(kPci)); }),
        kOne);
    EXPECT_EQ(Composed([&](Out out) {
                  return kelm::AppendDevicePathInstance(out, Path(kOne), Path(usb));
              }),
              kTwo);
    EXPECT_EQ(
        Composed([&](Out out) { return kelm::AppendDevicePathInstance(out, nullptr, Path(kTwo)); }),
        kTwo);
    EXPECT_EQ(Composed([&](Out out) { return kelm::MakeDevicePath(out, kPci); }), pci);
    EXPECT_EQ(Composed([&](Out out) { return kelm::CopyDevicePath(out, nullptr); }), kEnd);
    EXPECT_EQ(Composed([&](Out out) { return kelm::AppendDevicePathNode(out, nullptr, nullptr); }),
              kEnd);
    const Bytes broken = {1, 1, 3, 0};
    EXPECT_EQ(kelm::AppendDevicePath({}, Path(root), Path(broken)), 0u);

    Bytes small(kTwo.size() - 1, 0xCC);
    EXPECT_EQ(kelm::CopyDevicePath(small, Path(kTwo)), kTwo.size());
    EXPECT_EQ(small, Bytes(kTwo.size() - 1, 0xCC)); // untouched when it does not fit
}

TEST(DevicePath, ComparesWholePathsAndPrefixes) {
    const Bytes root = Join({kRoot, kEnd});
    EXPECT_TRUE(kelm::DevicePathsEqual(Path(kOne), Path(Bytes(kOne))));
    EXPECT_FALSE(kelm::DevicePathsEqual(Path(kOne), Path(kTwo)));
    EXPECT_FALSE(kelm::DevicePathsEqual(nullptr, nullptr));
    EXPECT_TRUE(kelm::DevicePathStartsWith(Path(kOne), Path(root)));
    EXPECT_TRUE(kelm::DevicePathStartsWith(Path(kOne), Path(kOne)));
    EXPECT_TRUE(kelm::DevicePathStartsWith(Path(kOne), Path(kEnd)));
    EXPECT_FALSE(kelm::DevicePathStartsWith(Path(root), Path(kOne)));
    EXPECT_FALSE(kelm::DevicePathStartsWith(Path(kOne), nullptr));
}

// A second, slower statement of what a valid path is.
bool IsValidByTheBook(const Bytes& bytes) {
    size_t at = 0;
    while (at + 4 <= bytes.size()) {
        const size_t length = bytes[at + 2] + 256u * bytes[at + 3];
        const bool isEnd = bytes[at] == 0x7F;
        if (length < 4 || at + length > bytes.size() || (isEnd && length != 4)) {
            return false;
        }
        if (isEnd && bytes[at + 1] != 1) {
            return bytes[at + 1] == 0xFF;
        }
        at += length;
    }
    return false;
}

TEST(DevicePath, JudgesDamagedPathsWithoutReadingPastThem) {
    EXPECT_FALSE(kelm::IsDevicePathValid(nullptr, 100));
    std::mt19937 random(1);
    size_t valid = 0;
    for (int round = 0; round < 20000; round++) {
        Bytes bytes = kTwo;
        for (unsigned changes = random() % 4; changes > 0; changes--) {
            const UINT8 choices[] = {UINT8(random()), 0x7F, 1, 0xFF, 4, 0};
            bytes[random() % bytes.size()] = choices[random() % 6];
        }
        bytes.resize(random() % 3 == 0 ? random() % (bytes.size() + 1) : bytes.size());
        const auto exact = std::make_unique<UINT8[]>(bytes.size());
        std::copy(bytes.begin(), bytes.end(), exact.get());
        const auto* path = reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(exact.get());
        const std::span<const UINT8> span(exact.get(), bytes.size());

        const bool expected = IsValidByTheBook(bytes);
        ASSERT_EQ(kelm::IsDevicePathValid(path, bytes.size()), expected) << round;
        for (const auto* node : kelm::DevicePathNodes(span)) {
            ASSERT_LE(kelm::NodeBytes(node).data() + kelm::NodeLength(node),
                      span.data() + span.size());
        }
        if (expected) {
            valid++;
            const size_t size = kelm::DevicePathSize(path);
            ASSERT_EQ(size, kelm::DevicePathSizeOf(span));
            size_t joined = 0;
            const auto* cursor = path;
            while (const auto instance = kelm::NextInstance(cursor)) {
                joined += instance->size() + kelm::kNodeHeaderSize;
            }
            ASSERT_EQ(joined, size); // the instances and their ends are the whole path
        }
    }
    EXPECT_GT(valid, 1000u);
}

} // namespace
