#include "app/identity.h"
#include "app/launcher.h"
#include "host/host_command.h"

#include <QApplication>
#include <QCommandLineParser>

#include <cstdio>
#include <string_view>

using namespace Qt::Literals::StringLiterals;

namespace
{

// Only the first word counts. A host command anywhere else is an unknown option of the launcher.
bool isHostCommand(int argc, char** argv)
{
    if (argc < 2)
        return false;
    const std::string_view command = argv[1];
    return command == "--host-supervisor" || command == "--host-lan";
}

int runLauncher(int argc, char** argv)
{
    vok::setApplicationIdentity();
    const QApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(u"Native own-server VOK launcher; no official credentials or endpoints"_s);
    parser.addHelpOption();
    parser.addVersionOption();
    parser.process(application);
    try {
        vok::Launcher launcher;
        launcher.open();
        launcher.show();
        return QApplication::exec();
    } catch (const std::exception& error) {
        static_cast<void>(std::fprintf(stderr, "vok-launcher: %s\n", error.what()));
        return 1;
    }
}

} // namespace

int main(int argc, char** argv)
{
    return isHostCommand(argc, argv) ? vok::launcher_server::hostCommand(argc, argv) : runLauncher(argc, argv);
}
