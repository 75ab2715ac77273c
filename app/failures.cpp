#include "app/failures.h"

#include "app/OutputFile.h"
#include "app/command_line.h"
#include "app/recording/archive/ArchiveError.h"
#include "app/recording/replay_root.h"
#include "app/write/standard_streams.h"
#include "app/write/table.h"

namespace app {

ExitStatus reportFailure()
{
    try {
        throw;
    } catch (UsageError const& error) {
        complain(error.what() + std::string("\nTry 'dovrel-sysinfo --help'."));
        return EXIT_STATUS_USAGE;
    } catch (ColumnError const& error) {
        complain(error.what());
        return EXIT_STATUS_USAGE;
    } catch (OutputFileError const& error) {
        complain(error.what());
        return EXIT_STATUS_OUTPUT;
    } catch (ArchiveError const& error) {
        complain(error.what());
        return EXIT_STATUS_ARCHIVE;
    } catch (NamespaceError const& error) {
        complain(error.what());
        return EXIT_STATUS_NO_NAMESPACE;
    } catch (std::exception const& error) {
        complain(error.what());
        return EXIT_STATUS_INTERNAL;
    }
}

}
