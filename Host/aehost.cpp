// aehost: runs an effect plug-in headless, the way the host would.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "EffectHost.h"

namespace {

constexpr int kExitUsage = 2;
constexpr int kExitPluginError = 3;

std::string defaultPluginPath() {
    char self[4096];
    const ssize_t n = readlink("/proc/self/exe", self, sizeof(self) - 1);
    if (n <= 0) {
        return "GaussianBlur.so";
    }
    self[n] = '\0';
    std::string path(self);
    return path.substr(0, path.rfind('/') + 1) + "GaussianBlur.so";
}

void printUsage(FILE* out) {
    std::fprintf(out, "usage: aehost [--plugin PATH]\n"
                      "Loads the effect plug-in, sets it up as the host does, and prints its\n"
                      "about text and the parameters it registers.\n");
}

const char* commandName(PF_Cmd cmd) {
    switch (cmd) {
    case PF_Cmd_ABOUT:
        return "PF_Cmd_ABOUT";
    case PF_Cmd_GLOBAL_SETUP:
        return "PF_Cmd_GLOBAL_SETUP";
    case PF_Cmd_GLOBAL_SETDOWN:
        return "PF_Cmd_GLOBAL_SETDOWN";
    case PF_Cmd_PARAMS_SETUP:
        return "PF_Cmd_PARAMS_SETUP";
    default:
        return "command";
    }
}

} // namespace

int main(int argc, char** argv) {
    std::string pluginPath = defaultPluginPath();
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            printUsage(stdout);
            return 0;
        }
        if (arg == "--plugin") {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "aehost: --plugin needs a path\n");
                return kExitUsage;
            }
            pluginPath = argv[++i];
            continue;
        }
        std::fprintf(stderr, "aehost: unknown argument '%s'\n", arg.c_str());
        printUsage(stderr);
        return kExitUsage;
    }

    try {
        Brindel::Host::EffectHost host(pluginPath);
        for (PF_Cmd cmd : {PF_Cmd_GLOBAL_SETUP, PF_Cmd_ABOUT, PF_Cmd_PARAMS_SETUP}) {
            if (const PF_Err err = host.send(cmd)) {
                std::fprintf(stderr, "aehost: %s failed with PF_Err %d\n", commandName(cmd),
                             static_cast<int>(err));
                return kExitPluginError;
            }
            if (cmd == PF_Cmd_ABOUT) {
                std::string about = host.outData().return_msg;
                for (char& c : about) {
                    c = c == '\r' ? '\n' : c;
                }
                std::printf("%s\n", about.c_str());
            }
        }
        for (const PF_ParamDef& def : host.addedParams()) {
            if (def.param_type == PF_Param_FLOAT_SLIDER) {
                std::printf("parameter \"%s\": float slider %g to %g, default %g\n", def.name,
                            def.u.fs_d.valid_min, def.u.fs_d.valid_max, def.u.fs_d.dephault);
            }
        }
        if (const PF_Err err = host.send(PF_Cmd_GLOBAL_SETDOWN)) {
            std::fprintf(stderr, "aehost: PF_Cmd_GLOBAL_SETDOWN failed with PF_Err %d\n",
                         static_cast<int>(err));
            return kExitPluginError;
        }
    } catch (const std::exception& e) {
        std::fprintf(stderr, "aehost: %s\n", e.what());
        return kExitUsage;
    }
    return 0;
}
