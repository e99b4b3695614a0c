// quarn: the command-line face of the library.
#include <quarn/Quarn.h>

#include <cstdio>
#include <cstring>

namespace {

struct Command {
    const char* name;
    const char* summary;
    int (*run)(int argc, char** argv);
};

int printVersion(int, char**) {
    std::printf("quarn %s (library version 0x%X)\n", QUARN_VERSION_STRING,
                static_cast<unsigned>(Quarn::getVersion()));
    return 0;
}

int printHelp(int, char**);

const Command kCommands[] = {
    {"--version", "print the library's version", printVersion},
    {"--help", "show this help", printHelp},
};

int printHelp(int, char**) {
    std::printf("usage: quarn <command> [arguments]\n\ncommands:\n");
    for (const Command& command : kCommands) std::printf("  %-12s %s\n", command.name, command.summary);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    // The shared library starts itself when loaded; a static build needs the call, and a second
    // call is harmless.
    Quarn::InitTerm::init();
    int status = 2;
    if (argc < 2) {
        printHelp(argc, argv);
    } else {
        const Command* found = nullptr;
        for (const Command& command : kCommands)
            if (std::strcmp(argv[1], command.name) == 0) found = &command;
        if (found) {
            status = found->run(argc - 1, argv + 1);
        } else {
            std::fprintf(stderr, "quarn: unknown command '%s' (try 'quarn --help')\n", argv[1]);
        }
    }
    Quarn::InitTerm::exit();
    return status;
}
