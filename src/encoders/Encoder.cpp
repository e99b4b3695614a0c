#include <quarn/Encoder.h>

namespace Quarn {

Encoder::Encoder(int32_t mapping, bool newAPI)
    : srcCount(0), dstCount(0), mapping(mapping), error(ErrNone), newAPI(newAPI) {}

Encoder::~Encoder() {}

Encoder* Encoder::find(const String&) const {
    return nullptr;
}

int32_t Encoder::getDecodedLength(const char*, int32_t) {
    return -1;
}

int32_t Encoder::getEncodedLength(const unsigned short*, int32_t) {
    return -1;
}

// The counts are converted in place in the fields, so that after the call they already say how far
// the conversion went.
int16_t Encoder::decode(const char* src, int32_t srcLen, unsigned short* dst, int32_t dstLen,
                        bool continued) {
    srcCount = srcLen;
    dstCount = dstLen;
    error = toUnicode(src, srcCount, dst, dstCount, continued);
    return error;
}

int16_t Encoder::encode(const unsigned short* src, int32_t srcLen, char* dst, int32_t dstLen,
                        bool continued) {
    srcCount = srcLen;
    dstCount = dstLen;
    error = toMBCS(src, srcCount, dst, dstCount, continued);
    return error;
}

int16_t Encoder::getUnicodeLength(const char*, int32_t, int32_t& out) const {
    out = -1;
    return ErrNone;
}

int16_t Encoder::getMBCSLength(const unsigned short*, int32_t, int32_t& out) const {
    out = -1;
    return ErrNone;
}

int32_t Encoder::getDecodedLimit(int32_t) const {
    return -1;
}

int32_t Encoder::getEncodedMinimum(int32_t) const {
    return -1;
}

int16_t Encoder::toUnicode(const char*, int32_t&, unsigned short*, int32_t&, bool) const {
    return ErrInternal;
}

int16_t Encoder::toMBCS(const unsigned short*, int32_t&, char*, int32_t&, bool) const {
    return ErrInternal;
}

} // namespace Quarn
