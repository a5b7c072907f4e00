#include "StaticTextLabelCache.h"

#include "LabelText.h"
#include "NeverDestroyed.h"

namespace sorvane::toolkit {

StaticTextLabelCache& StaticTextLabelCache::shared()
{
    static platform::NeverDestroyed<StaticTextLabelCache> cache;
    return cache.get();
}

Shared<CDIB> StaticTextLabelCache::update(CDIB*& slot, const Key& key)
{
    const std::lock_guard guard(lock);
    if (const auto held = byImage.find(slot); held != byImage.end() && held->second->first == key)
        return held->second->second.image;
    auto found = entries.find(key);
    if (found == entries.end()) {
        const Coverage coverage = renderText(*key.font, key.size, key.text, 0.0F, 0.0F, key.spacing);
        found = entries.emplace(key, Entry{makeTextImage(coverage, key.colour, key.haloRadius), 0}).first;
        byImage[found->second.image.get()] = found;
    }
    ++found->second.uses;
    drop(slot);
    slot = found->second.image.get();
    return found->second.image;
}

void StaticTextLabelCache::release(const CDIB* image)
{
    const std::lock_guard guard(lock);
    drop(image);
}

void StaticTextLabelCache::drop(const CDIB* image)
{
    const auto held = byImage.find(image);
    if (held == byImage.end() || --held->second->second.uses > 0)
        return;
    entries.erase(held->second);
    byImage.erase(held);
}

std::size_t StaticTextLabelCache::imageCount() const
{
    const std::lock_guard guard(lock);
    return entries.size();
}

} // namespace sorvane::toolkit
