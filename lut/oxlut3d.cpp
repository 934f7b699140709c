// The five exported functions. They check their arguments, hand the work to
// the loader, the table and the effect, and turn every failure into a null or
// zero result: nothing leaves them as an exception.
#include "lut/oxlut3d.h"

#include "core/log/oxdebug.h"
#include "lut/lut3deffect.h"
#include "lut/lut3dtable.h"
#include "lut/lutfiledata.h"

#include <memory>
#include <new>

namespace {

Lut3DTable* loadTable(const char* path)
{
    std::unique_ptr<LutFileData> file(new (std::nothrow) LutFileData(COxString::fromUtf8(path ? path : "")));
    if (!file || !file->load())
        return nullptr; // the loader has said why, where there is something to say
    if (!file->is3D()) {
        oxError("We only support 3D LUT file!");
        return nullptr;
    }
    // The loader refuses other element types already; kept in case it learns them.
    if (file->elementType() != 0) {
        oxError("We only support uint8 LUT file!");
        return nullptr;
    }
    Lut3DTable* table = lutTableCreate(file->levelValues(), file->levelCount(), file->gridBytes());
    if (!table)
        return nullptr;
    table->file = file.release();
    return table;
}

} // namespace

// The framework reports failures by return value; the catch blocks only stop
// an allocation failure inside a standard container from crossing into C.

Lut3DTable* OxcLut3DLoadTableFromFile(const char* path)
{
    try {
        return loadTable(path);
    } catch (...) {
        return nullptr;
    }
}

void OxcLut3DDestroyTable(Lut3DTable* table)
{
    if (!table)
        return;
    LutFileData* file = table->file;
    lutTableDestroy(table); // level index, padded grid, handle
    delete file;
}

Lut3DEffect* OxcLut3DCreateEffect(uint32_t threads)
{
    try {
        return lutEffectCreate(threads);
    } catch (...) {
        return nullptr;
    }
}

void OxcLut3DDestroyEffect(Lut3DEffect* effect)
{
    lutEffectDestroy(effect);
}

uint32_t OxcLut3DRenderEffect(Lut3DEffect* effect, Lut3DTable* table, const LutImage* src,
                              const LutImage* dst, uint32_t pixelFormat, uint32_t colorStandard,
                              uint32_t range, uint32_t width, uint32_t height, int32_t reserved)
{
    if (!effect || !table || !src || !dst || width == 0 || height == 0)
        return 0;
    return lutEffectRender(effect, table, src, dst, pixelFormat, colorStandard, range, width, height,
                           reserved);
}
