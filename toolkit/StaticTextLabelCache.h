#pragma once

#include "CDIB.h"
#include "Font.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <tuple>

namespace sorvane::toolkit {

/// The images of texts, shared by all views of the process that show the same. Any thread.
class StaticTextLabelCache {
public:
    /// What two views must have in common to share an image. Sizes are in pixels of the device.
    struct Key {
        const Font* font = nullptr;
        std::string text;
        float size = 0.0F;
        std::uint32_t colour = 0; ///< 0xRRGGBB
        int haloRadius = 0;
        float spacing = 0.0F;

        bool operator==(const Key&) const = default;
        bool operator<(const Key& other) const
        {
            const auto all = [](const Key& key) {
                return std::tie(key.font, key.text, key.size, key.colour, key.haloRadius, key.spacing);
            };
            return all(*this) < all(other);
        }
    };

    /// The one of the process, never destroyed.
    static StaticTextLabelCache& shared();

    /// The image for a key, with one more use for the slot, whose former image loses one unless it is the same.
    Shared<CDIB> update(CDIB*& slot, const Key& key);
    /// Drops one use of an image.
    void release(const CDIB* image);

    [[nodiscard]] std::size_t imageCount() const;

private:
    struct Entry {
        Shared<CDIB> image;
        int uses = 0;
    };

    void drop(const CDIB* image);

    mutable std::mutex lock;
    std::map<Key, Entry> entries;
    std::map<const CDIB*, std::map<Key, Entry>::iterator> byImage;
};

} // namespace sorvane::toolkit
