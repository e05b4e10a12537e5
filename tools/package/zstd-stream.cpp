#include "tools/package/zstd-stream.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace package {

ZstdStream::ZstdStream(int level, Sink sink)
    : m_context(ZSTD_createCCtx()), m_sink(std::move(sink)), m_block(ZSTD_CStreamOutSize()) {
    set(ZSTD_c_compressionLevel, level);
    set(ZSTD_c_checksumFlag, 1);
    // One worker at least: the result is the same for any number of them, but not for none.
    // A library without threads refuses, and then works alone, as it can.
    const auto workers = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
    ZSTD_CCtx_setParameter(m_context.get(), ZSTD_c_nbWorkers, workers);
}

bool ZstdStream::write(const void* data, size_t size) {
    ZSTD_inBuffer input = {data, size, 0};
    size_t left = 0;
    while (input.pos < input.size) {
        if (!advance(input, ZSTD_e_continue, left)) {
            return false;
        }
        m_isInFrame = true;
    }
    return true;
}

bool ZstdStream::endFrame() {
    // Without input of its own: with some, the cut between the workers' shares, and so the result,
    // would depend on how far they have got.
    ZSTD_inBuffer nothing = {nullptr, 0, 0};
    size_t left = m_isInFrame ? 1 : 0;
    while (left > 0) {
        if (!advance(nothing, ZSTD_e_end, left)) {
            return false;
        }
    }
    m_isInFrame = false;
    return true;
}

bool ZstdStream::set(ZSTD_cParameter parameter, int value) {
    const size_t result = ZSTD_CCtx_setParameter(m_context.get(), parameter, value);
    if (ZSTD_isError(result) != 0U) {
        m_trouble = ZSTD_getErrorName(result);
    }
    return m_trouble.empty();
}

bool ZstdStream::advance(ZSTD_inBuffer& input, ZSTD_EndDirective directive, size_t& left) {
    if (!m_trouble.empty()) {
        return false;
    }
    ZSTD_outBuffer output = {m_block.data(), m_block.size(), 0};
    left = ZSTD_compressStream2(m_context.get(), &output, &input, directive);
    if (ZSTD_isError(left) != 0U) {
        m_trouble = ZSTD_getErrorName(left);
        return false;
    }
    return output.pos == 0 || m_sink(m_block.data(), output.pos);
}

} // namespace package
