#include "CBitmap.h"

#include "CDIB.h"
#include "NeverDestroyed.h"
#include "Png.h"
#include "Resources.h"

#include <map>
#include <mutex>
#include <string>

namespace sorvane::toolkit {

namespace {

struct BitmapList {
    std::mutex lock;
    std::map<int, Shared<CDIB>> images;
};

BitmapList& bitmaps()
{
    static platform::NeverDestroyed<BitmapList> list;
    return list.get();
}

} // namespace

CDIB* getBitmap(int id)
{
    if (id == 0)
        return nullptr;
    BitmapList& list = bitmaps();
    const std::lock_guard guard(list.lock);
    const auto [entry, isNew] = list.images.try_emplace(id);
    if (isNew)
        entry->second = readPng(platform::resource("PNG", std::to_string(id)));
    return entry->second.get();
}

void addBitmap(int id, CDIB& bitmap)
{
    BitmapList& list = bitmaps();
    const std::lock_guard guard(list.lock);
    list.images[id] = Shared<CDIB>(&bitmap);
}

void releaseBitmaps()
{
    BitmapList& list = bitmaps();
    const std::lock_guard guard(list.lock);
    list.images.clear();
}

} // namespace sorvane::toolkit
