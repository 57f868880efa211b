// SPDX-License-Identifier: MIT

#include "host/macos/MacWorkspace.h"

#include "host/macos/Conversions.h"
#include "host/macos/KvnActionTarget.h"
#include "host/posix/AppBundle.h"
#import <AppKit/AppKit.h>

namespace kvn::host {

namespace {

constexpr char kErrorDomain[] = "Workspace";

/// Observes sleep and wake-up, and the quit event, which the system sends to every application when the
/// session ends. The notification of a power-off is not needed beside it, and also precedes a log-out that is
/// cancelled.
class SessionObservation final : public MainLoop::Registration {
public:
    using Event = Workspace::Event;
    using Handler = std::function<void(Event)>;

    explicit SessionObservation(const Handler& handler)
        : sleep_(reporter(handler, Event::WillSleep)), wake_(reporter(handler, Event::DidWake)),
          quit_(reporter(handler, Event::WillEndSession)) {
        NSNotificationCenter* const center = NSWorkspace.sharedWorkspace.notificationCenter;
        [center addObserver:sleep_
                   selector:@selector(performKvnAction:)
                       name:NSWorkspaceWillSleepNotification
                     object:nil];
        [center addObserver:wake_
                   selector:@selector(performKvnAction:)
                       name:NSWorkspaceDidWakeNotification
                     object:nil];
        // The application's own handler would call exit() while other threads run.
        [NSAppleEventManager.sharedAppleEventManager setEventHandler:quit_
                                                         andSelector:@selector(performKvnAction:withReply:)
                                                       forEventClass:kCoreEventClass
                                                          andEventID:kAEQuitApplication];
    }
    ~SessionObservation() override {
        [NSWorkspace.sharedWorkspace.notificationCenter removeObserver:sleep_];
        [NSWorkspace.sharedWorkspace.notificationCenter removeObserver:wake_];
        [NSAppleEventManager.sharedAppleEventManager removeEventHandlerForEventClass:kCoreEventClass
                                                                          andEventID:kAEQuitApplication];
    }
    SessionObservation(const SessionObservation&) = delete;
    SessionObservation& operator=(const SessionObservation&) = delete;

private:
    static KvnActionTarget* reporter(const Handler& handler, Event event) {
        return [[KvnActionTarget alloc] initWithAction:[handler, event](id) { handler(event); }];
    }

    KvnActionTarget* const sleep_;
    KvnActionTarget* const wake_;
    KvnActionTarget* const quit_;
};

void complete(MainLoop& mainLoop, Workspace::Completion completion, std::optional<Error> error) {
    mainLoop.post([completion = std::move(completion), error = std::move(error)] { completion(error); });
}

/// Returns the handler of a request, whose answer arrives on any thread. The loop is asked for on the main
/// thread, which destroys it: it stays while the block runs.
auto answerHandler(std::weak_ptr<MainLoop> mainLoop, Workspace::Completion completion) {
    return ^(NSRunningApplication* __unused application, NSError* failure) {
      std::optional<Error> error;
      if (failure) {
          error = errorOf(failure, kErrorDomain);
      }
      dispatch_async(dispatch_get_main_queue(), ^{
        if (const auto loop = mainLoop.lock()) {
            complete(*loop, completion, error);
        }
      });
    };
}

} // namespace

MainLoop::Handle MacWorkspace::observe(std::function<void(Event)> handler) {
    return std::make_unique<SessionObservation>(handler);
}

void MacWorkspace::openUrl(const std::string& url, Completion completion) {
    NSURL* const target = [NSURL URLWithString:nsString(url)];
    if (!target) {
        return complete(*mainLoop_, std::move(completion), Error{kErrorDomain, 0, url + ": is not a URL"});
    }
    [NSWorkspace.sharedWorkspace openURL:target
                           configuration:[NSWorkspaceOpenConfiguration configuration]
                       completionHandler:answerHandler(mainLoop_, std::move(completion))];
}

void MacWorkspace::openFolder(const std::string& path, Completion completion) {
    const bool opened = [NSWorkspace.sharedWorkspace selectFile:nil inFileViewerRootedAtPath:nsString(path)];
    complete(*mainLoop_, std::move(completion),
             opened ? std::optional<Error>() : Error{kErrorDomain, 0, path + ": cannot be opened"});
}

void MacWorkspace::launchApplication(const std::string& executable, const std::vector<std::string>& arguments,
                                     Completion completion) {
    const auto bundle = bundleOf(executable);
    if (!bundle) {
        return complete(*mainLoop_, std::move(completion),
                        Error{kErrorDomain, 0, executable + ": is not in an application"});
    }
    NSMutableArray<NSString*>* const texts = [NSMutableArray array];
    for (const std::string& argument : arguments) {
        [texts addObject:nsString(argument)];
    }
    NSWorkspaceOpenConfiguration* const configuration = [NSWorkspaceOpenConfiguration configuration];
    configuration.arguments = texts;
    configuration.createsNewApplicationInstance = YES;
    configuration.activates = NO; // the dialog that started it stays in front
    [NSWorkspace.sharedWorkspace openApplicationAtURL:[NSURL fileURLWithPath:nsString(*bundle)
                                                                 isDirectory:YES]
                                        configuration:configuration
                                    completionHandler:answerHandler(mainLoop_, std::move(completion))];
}

} // namespace kvn::host
