// The JP2 box reader and, when it finds one, the main header of the code-stream it points at.
#include "FuzzSupport.h"
#include "jp2/CodestreamHeader.h"
#include "jp2/Jp2BoxReader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::MemorySource source(data, size);
    PLK::Engine::Jp2Boxes boxes;
    if (PLK::Engine::Jp2BoxReader::read(source, boxes)) return 0;
    PLK::Engine::CodestreamHeader header;
    PLK::Engine::CodestreamHeader::read(source, boxes.codestreamOffset, boxes.codestreamLength, header);
    return 0;
}
