// SPDX-License-Identifier: MIT

#include "host/macos/MacWorkspace.h"

#include "host/macos/Conversions.h"
#include "host/posix/AppBundle.h"
#import <AppKit/AppKit.h>

namespace {

using SessionHandler = std::function<void(kvn::host::Workspace::Event)>;

} // namespace

/// Receives the session's notifications, and the request to quit.
@interface KvnSessionObserver : NSObject
- (instancetype)initWithHandler:(SessionHandler)handler;
- (void)stop;
@end

@implementation KvnSessionObserver {
    SessionHandler _handler;
}

- (instancetype)initWithHandler:(SessionHandler)handler {
    self = [super init];
    if (self) {
        _handler = std::move(handler);
        NSNotificationCenter* const center = NSWorkspace.sharedWorkspace.notificationCenter;
        [center addObserver:self
                   selector:@selector(willSleep:)
                       name:NSWorkspaceWillSleepNotification
                     object:nil];
        [center addObserver:self selector:@selector(didWake:) name:NSWorkspaceDidWakeNotification object:nil];
        [center addObserver:self
                   selector:@selector(willEndSession:)
                       name:NSWorkspaceWillPowerOffNotification
                     object:nil];
        [NSAppleEventManager.sharedAppleEventManager setEventHandler:self
                                                         andSelector:@selector(quit:withReply:)
                                                       forEventClass:kCoreEventClass
                                                          andEventID:kAEQuitApplication];
    }
    return self;
}

- (void)stop {
    [NSWorkspace.sharedWorkspace.notificationCenter removeObserver:self];
    [NSAppleEventManager.sharedAppleEventManager removeEventHandlerForEventClass:kCoreEventClass
                                                                      andEventID:kAEQuitApplication];
}

- (void)report:(kvn::host::Workspace::Event)event {
    const auto handler = _handler; // the observer may be released while it runs
    handler(event);
}

- (void)willSleep:(NSNotification*)__unused notification {
    [self report:kvn::host::Workspace::Event::WillSleep];
}

- (void)didWake:(NSNotification*)__unused notification {
    [self report:kvn::host::Workspace::Event::DidWake];
}

- (void)willEndSession:(NSNotification*)__unused notification {
    [self report:kvn::host::Workspace::Event::WillEndSession];
}

/// The application's own handler would call exit() while other threads run.
- (void)quit:(NSAppleEventDescriptor*)__unused event withReply:(NSAppleEventDescriptor*)__unused reply {
    [self report:kvn::host::Workspace::Event::WillEndSession];
}

@end

namespace kvn::host {

namespace {

constexpr char kErrorDomain[] = "Workspace";

class SessionObservation final : public MainLoop::Registration {
public:
    explicit SessionObservation(KvnSessionObserver* observer) : observer_(observer) {}
    ~SessionObservation() override { [observer_ stop]; }
    SessionObservation(const SessionObservation&) = delete;
    SessionObservation& operator=(const SessionObservation&) = delete;

private:
    KvnSessionObserver* const observer_;
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
    return std::make_unique<SessionObservation>(
        [[KvnSessionObserver alloc] initWithHandler:std::move(handler)]);
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
