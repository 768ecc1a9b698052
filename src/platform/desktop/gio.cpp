#include "platform/desktop/gio.h"

#include <dlfcn.h>
#include <memory>

namespace corveth {

const Gio* Gio::find() {
    static const std::unique_ptr<const Gio> found = []() -> std::unique_ptr<const Gio> {
        // It registers types with the process, which cannot be taken back.
        void* const library = dlopen("libgio-2.0.so.0", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
        if (library == nullptr) return nullptr;
        std::unique_ptr<Gio> gio(new Gio);
        bool isComplete = true;
        const auto bind = [&]<class Function>(Function*& function, const char* name) {
            function = reinterpret_cast<Function*>(dlsym(library, name)); // looks into what it depends on, too
            isComplete = isComplete && function != nullptr;
        };
        bind(gio->guess_, "g_content_type_guess");
        bind(gio->defaultProgram_, "g_app_info_get_default_for_type");
        bind(gio->entryPath_, "g_desktop_app_info_get_filename");
        bind(gio->freeText_, "g_free");
        bind(gio->release_, "g_object_unref");
        if (!isComplete) return nullptr;
        return gio;
    }();
    return found.get();
}

Text Gio::typeOf(const Text& name, TextView beginning, bool isWhole) const {
    int isUncertain = 0;
    const char* const bytes = !beginning.empty() ? beginning.data() : isWhole ? "" : nullptr;
    const std::unique_ptr<char, void (*)(void*)> type(guess_(name.empty() ? nullptr : name.c_str(),
                                                             reinterpret_cast<const unsigned char*>(bytes),
                                                             beginning.size(), &isUncertain),
                                                      freeText_);
    return type ? type.get() : "";
}

Text Gio::entryFor(const Text& type) const {
    const std::unique_ptr<void, void (*)(void*)> program(defaultProgram_(type.c_str(), 0), release_);
    const char* const path = program ? entryPath_(program.get()) : nullptr;
    return path != nullptr ? path : "";
}

} // namespace corveth
