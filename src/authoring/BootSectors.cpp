#include "authoring/BootDescription.h"
#include "authoring/ImageLayout.h"
#include "base/BootBytes.h"

namespace tovlark {

void EmitBootRecord(const ImageBuild& build, const Extent&, SectorStream& stream) {
    BootRecord record;
    record.catalogSector = build.bootCatalogSector;
    stream.writeStructure(record);
}

void EmitBootCatalog(const ImageBuild& build, const Extent&, SectorStream& stream) {
    stream.write(ToBootCatalog(*build.context.boot, build.uefiImage));
    stream.padToSector();
}

void EmitBootImages(const ImageBuild& build, const Extent&, SectorStream& stream) {
    for (const BootImage& image : build.context.boot->images) {
        stream.write(image.bytes);
        stream.padToSector();
    }
}

}  // namespace tovlark
