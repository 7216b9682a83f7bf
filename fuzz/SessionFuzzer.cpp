// Any bytes as a session of edits of a layer with a file: the layer, its answers and its file are what a
// plain list says, to which the same is done.
#include "FuzzSupport.h"
#include "Layers/EditSession.h"

#include <QFileInfo>
#include <QTemporaryDir>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    static const QTemporaryDir folder(QFileInfo::exists("/dev/shm")
                                          ? "/dev/shm/cartolith-session-XXXXXX"
                                          : QDir::tempPath() + "/cartolith-session-XXXXXX");
    constexpr std::size_t most = 400;
    if (size > 0) {
        test::EditSession session(folder.path(), data[0] % 2 == 0);
        Fuzz::requireSame(session.run(data + 1, std::min(size - 1, most)), "", "the session");
    }
    return 0;
}
