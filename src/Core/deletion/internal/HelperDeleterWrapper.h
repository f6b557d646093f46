#pragma once
// HelperDeleterWrapper: the helper phase of a delete run. Opens its own
// HelperConnection (installing the tool if needed), hands over the paths
// that failed for want of rights and every script, and reports the tool's
// progress to the Deleter on the main queue. A connection that can't be
// made ends the phase quietly; one that breaks later sets the Deleter's
// helperActionError and ends it.
//
// Threading: DeleterProtocol on the main thread; OMHelperDelegate calls
// come on a connection thread and hop to the main queue.

#include "Core/deletion/internal/DeleterProtocol.h"
#include "Core/helper/HelperConnection.h"

#include <memory>
#include <string>
#include <vector>

namespace Core {

class Deleter;

class HelperDeleterWrapper final : public DeleterProtocol,
                                   public OMHelperDelegate,
                                   public std::enable_shared_from_this<HelperDeleterWrapper> {
public:
    // Clears the Deleter's helperActionError.
    static std::shared_ptr<HelperDeleterWrapper> create(std::weak_ptr<Deleter> deleter,
                                                        std::vector<std::string> files,
                                                        std::vector<std::string> scripts);

    void start() override;
    void pause() override;
    void stop() override;

    void helperDeletedAt(const std::string& path, bool success) override;
    void helperLaunchedScript() override;
    void helperDeletingAt(const std::string& path) override;
    void helperDeletionCompleted() override;

private:
    HelperDeleterWrapper(std::weak_ptr<Deleter> deleter, std::vector<std::string> files,
                         std::vector<std::string> scripts);
    // On the main thread: the phase is over, once.
    void phaseEnded();
    void connectionFailed();

    std::weak_ptr<Deleter> _deleter;
    std::vector<std::string> _files;
    std::vector<std::string> _scripts;
    std::shared_ptr<HelperConnection> _connection;
    bool _started = false;
    bool _completed = false;
};

}  // namespace Core
