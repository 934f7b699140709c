#include "core/io/oxdir.h"
#include "core/io/oxfile.h"

#include "iotestsupport.h"
#include "resourcetestsupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

// Resources are mounted while other threads read through the mounts: a
// reader sees a mount either not at all or whole.
TEST(OxResource, MountWhileReading_concurrent)
{
    constexpr int kMounts = 40;
    std::vector<std::pair<const uchar*, size_t>> images;
    for (int i = 0; i < kMounts; ++i) {
        SOxResourceNode root = resourceRoot();
        addResource(&root, "dir/file", "content " + std::to_string(i), i % 2 == 0);
        const std::string image = OxWriteResourceImage(root);
        images.emplace_back(keptImage(image), image.size());
    }
    auto mountName = [](int i) { return COxString(("/oxres-conc/" + std::to_string(i)).c_str()); };
    auto read = [](int i) {
        COxFile file(COxString(("/oxres-conc/" + std::to_string(i) + "/dir/file").c_str()));
        return file.open(COxIODevice::ReadOnly) ? str(file.readAll()) : std::string();
    };

    std::atomic<int> wrong{0};
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t) {
        threads.emplace_back([&, t] {
            for (int i = t; i < kMounts; i += 2)
                EXPECT_TRUE(COxDir::registerResource(images[size_t(i)].first, images[size_t(i)].second, mountName(i)));
        });
        threads.emplace_back([&] {
            while (!done.load()) {
                for (int i = 0; i < kMounts; ++i) {
                    const std::string text = read(i);
                    wrong += !text.empty() && text != "content " + std::to_string(i);
                }
            }
        });
    }
    threads[0].join();
    threads[2].join();
    done = true;
    threads[1].join();
    threads[3].join();
    EXPECT_EQ(wrong.load(), 0);
    for (int i = 0; i < kMounts; ++i)
        EXPECT_EQ(read(i), "content " + std::to_string(i));
}

} // namespace
