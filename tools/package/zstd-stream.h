#pragma once

#include <zstd.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace package {

/// Compresses into a row of frames, each with the checksum of its content. libarchive writes zstd
/// without one, so a flipped bit would be unpacked without a word.
/// The bytes do not depend on the number of processors.
class ZstdStream {
public:
    /// Takes compressed bytes; false where they could not be written.
    using Sink = std::function<bool(const void* data, size_t size)>;

    ZstdStream(int level, Sink sink);

    /// Both answer false where the sink did, or where trouble() tells why.
    bool write(const void* data, size_t size);
    /// Ends the frame: a reader that gets a byte of the next one has found this one's checksum
    /// right. Does nothing at the start of a frame.
    bool endFrame();

    const std::string& trouble() const { return m_trouble; }

private:
    struct Free {
        void operator()(ZSTD_CCtx* context) const { ZSTD_freeCCtx(context); }
    };

    bool set(ZSTD_cParameter parameter, int value);
    bool advance(ZSTD_inBuffer& input, ZSTD_EndDirective directive, size_t& left);

    std::unique_ptr<ZSTD_CCtx, Free> m_context;
    Sink m_sink;
    std::vector<char> m_block;
    bool m_isInFrame = false;
    std::string m_trouble;
};

} // namespace package
