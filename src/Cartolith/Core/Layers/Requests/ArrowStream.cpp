// GisFeatureReader::toArrow().

#include <Cartolith/Core/Layers/GisFeatureReader.h>
#include <Cartolith/Core/Layers/Requests/ArrowBatchesInternal.h>

#include <cerrno>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

namespace Cartolith::Core::Layers {

namespace {

/// What the private data of a stream are.
class StreamOfBatches {
public:
    StreamOfBatches(std::shared_ptr<GisFeatureReader> reader, const GisArrowOptions& options)
        : m_batches(std::move(reader), options) {}

    static int getSchema(ArrowArrayStream* stream, ArrowSchema* schema) noexcept {
        return of(stream).guarded([=](Internal::ArrowBatches& batches) { batches.describe(*schema); });
    }

    static int getNext(ArrowArrayStream* stream, ArrowArray* batch) noexcept {
        return of(stream).guarded([=](Internal::ArrowBatches& batches) {
            if (!batches.next(*batch)) {
                *batch = {}; // the mark of the end
            }
        });
    }

    static const char* getLastError(ArrowArrayStream* stream) noexcept {
        const StreamOfBatches& own = of(stream);
        return own.m_code == 0        ? nullptr
               : own.m_code == ENOMEM ? "There is not enough memory."
                                      : own.m_reason.c_str();
    }

    static void release(ArrowArrayStream* stream) noexcept {
        delete &of(stream);
        stream->release = nullptr;
    }

private:
    static StreamOfBatches& of(ArrowArrayStream* stream) noexcept {
        return *static_cast<StreamOfBatches*>(stream->private_data);
    }

    /// Whatever fails may have lost rows: from then on, everything does.
    template <typename Work>
    int guarded(const Work& work) noexcept {
        if (m_code != 0) {
            return m_code;
        }
        try {
            try {
                work(m_batches);
            } catch (const std::system_error& error) {
                m_reason = error.what();
                m_code = error.code().value();
            } catch (const std::invalid_argument& error) {
                m_reason = error.what();
                m_code = EINVAL;
            } catch (const std::bad_alloc&) {
                m_code = ENOMEM;
            } catch (const std::exception& error) {
                m_reason = error.what();
                m_code = EIO;
            }
        } catch (const std::bad_alloc&) { // for the reason
            m_code = ENOMEM;
        }
        return m_code;
    }

    Internal::ArrowBatches m_batches;
    int m_code = 0;
    std::string m_reason;
};

} // namespace

void GisFeatureReader::toArrow(std::shared_ptr<GisFeatureReader> reader, ArrowArrayStream& stream,
                               const GisArrowOptions& options) {
    if (reader == nullptr) {
        throw std::invalid_argument("There is no reader to make an Arrow stream of.");
    }
    auto held = std::make_unique<StreamOfBatches>(std::move(reader), options);
    stream.get_schema = StreamOfBatches::getSchema;
    stream.get_next = StreamOfBatches::getNext;
    stream.get_last_error = StreamOfBatches::getLastError;
    stream.release = StreamOfBatches::release;
    stream.private_data = held.release();
}

} // namespace Cartolith::Core::Layers
