#include "support/session/SessionManager.h"

#include <X11/ICE/ICElib.h>
#include <X11/ICE/ICEutil.h>
#include <X11/SM/SMlib.h>
#include <array>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <span>

/// The library's own, for session managers, and in no header.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" int _IceTransNoListen(const char* protocol);

namespace velmo::test {

namespace {

bool hasInput(int descriptor)
{
    pollfd waiting{descriptor, POLLIN, 0};
    return poll(&waiting, 1, 0) > 0;
}

} // namespace

struct SessionManager::Session {
    /// The library keeps one session manager for a process, and cannot forget it.
    static Session* current;

    Session()
    {
        current = this;
        // Otherwise it ends the process when a program vanishes.
        IceSetIOErrorHandler([](IceConn) {});
        static const bool isInitialized = initialize();
        // Nobody outside this computer.
        for (const char* protocol : {"tcp", "inet", "inet6"})
            _IceTransNoListen(protocol);
        if (!isInitialized || IceListenForConnections(&listenerCount, &listeners, 0, nullptr) == 0)
            return;
        for (IceListenObj listener : std::span(listeners, static_cast<size_t>(listenerCount))) {
            // No cookies: nothing here is worth one.
            IceSetHostBasedAuthProc(listener, [](char*) -> Bool { return True; });
        }
        char* list = IceComposeNetworkIdList(listenerCount, listeners);
        address = list;
        std::free(list);
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    ~Session()
    {
        disconnect();
        if (listeners != nullptr)
            IceFreeListenObjs(listenerCount, listeners);
        current = nullptr;
    }

    static bool initialize()
    {
        std::array<char, 256> reason{};
        return SmsInitialize(
                   "Velmo's tests", "1", &Session::acceptProgram, nullptr, [](char*) -> Bool { return True; },
                   static_cast<int>(reason.size()), reason.data()) != 0;
    }

    static Status acceptProgram(SmsConn program, SmPointer, unsigned long* mask, SmsCallbacks* callbacks,
                                char**)
    {
        current->program = program;
        *mask = SmsRegisterClientProcMask | SmsInteractRequestProcMask | SmsInteractDoneProcMask |
                SmsSaveYourselfRequestProcMask | SmsSaveYourselfP2RequestProcMask |
                SmsSaveYourselfDoneProcMask | SmsCloseConnectionProcMask | SmsSetPropertiesProcMask |
                SmsDeletePropertiesProcMask | SmsGetPropertiesProcMask;
        callbacks->register_client.callback = [](SmsConn connection, SmPointer, char* previous) -> Status {
            // There was no session before this one.
            if (previous != nullptr) {
                std::free(previous);
                return 0;
            }
            char* identifier = SmsGenerateClientID(connection);
            SmsRegisterClientReply(connection, identifier);
            std::free(identifier);
            SmsSaveYourself(connection, SmSaveLocal, False, SmInteractStyleNone, False);
            return 1;
        };
        callbacks->interact_request.callback = [](SmsConn connection, SmPointer, int) {
            SmsInteract(connection);
        };
        callbacks->interact_done.callback = [](SmsConn, SmPointer, Bool) {};
        callbacks->save_yourself_request.callback = [](SmsConn, SmPointer, int, Bool, int, Bool, Bool) {};
        callbacks->save_yourself_phase2_request.callback = [](SmsConn connection, SmPointer) {
            SmsSaveYourselfPhase2(connection);
        };
        callbacks->save_yourself_done.callback = [](SmsConn, SmPointer, Bool) { ++current->saves; };
        callbacks->close_connection.callback = [](SmsConn, SmPointer, int count, char** reasons) {
            SmFreeReasons(count, reasons);
            current->isOver = true;
        };
        callbacks->set_properties.callback = [](SmsConn, SmPointer, int count, SmProp** properties) {
            const std::span all(properties, static_cast<size_t>(count));
            for (SmProp* property : all) {
                if (std::strcmp(property->name, SmRestartStyleHint) == 0 && property->num_vals > 0)
                    current->restartStyle = *static_cast<const unsigned char*>(property->vals[0].value);
                SmFreeProperty(property);
            }
            std::free(properties);
        };
        callbacks->delete_properties.callback = [](SmsConn, SmPointer, int count, char** names) {
            for (char* name : std::span(names, static_cast<size_t>(count)))
                std::free(name);
            std::free(names);
        };
        callbacks->get_properties.callback = [](SmsConn connection, SmPointer) {
            SmsReturnProperties(connection, 0, nullptr);
        };
        return 1;
    }

    void read()
    {
        for (IceListenObj listener : std::span(listeners, static_cast<size_t>(listenerCount))) {
            if (connection != nullptr || !hasInput(IceGetListenConnectionNumber(listener)))
                continue;
            IceAcceptStatus status = IceAcceptFailure;
            connection = IceAcceptConnection(listener, &status);
        }
        while (connection != nullptr && hasInput(IceConnectionNumber(connection))) {
            const IceProcessMessagesStatus status = IceProcessMessages(connection, nullptr, nullptr);
            if (status != IceProcessMessagesSuccess)
                isOver = true;
            // The library has freed it.
            if (status == IceProcessMessagesConnectionClosed)
                connection = nullptr;
            if (isOver)
                disconnect();
        }
    }

    void disconnect()
    {
        if (program != nullptr)
            SmsCleanUp(program);
        program = nullptr;
        if (connection != nullptr) {
            IceSetShutdownNegotiation(connection, False);
            IceCloseConnection(connection);
        }
        connection = nullptr;
    }

    int listenerCount = 0;
    IceListenObj* listeners = nullptr;
    QByteArray address;
    IceConn connection = nullptr;
    SmsConn program = nullptr;
    int saves = 0;        ///< Those that the program has done with.
    int awaitedSaves = 1; ///< The first is asked for when a program registers.
    int restartStyle = SmRestartIfRunning;
    bool isOver = false;
};

SessionManager::Session* SessionManager::Session::current = nullptr;

SessionManager::SessionManager()
    : session_(std::make_unique<Session>())
{}

SessionManager::~SessionManager() = default;

QByteArray SessionManager::address() const
{
    return session_->address;
}

bool SessionManager::hasProgram()
{
    session_->read();
    return session_->program != nullptr && session_->saves > 0;
}

bool SessionManager::restartsProgram()
{
    session_->read();
    return session_->restartStyle != SmRestartNever;
}

void SessionManager::announceLogOut()
{
    // The first save is over with this.
    SmsSaveComplete(session_->program);
    ++session_->awaitedSaves;
    SmsSaveYourself(session_->program, SmSaveBoth, True, SmInteractStyleAny, False);
}

bool SessionManager::isReadyForLogOut()
{
    session_->read();
    return session_->saves >= session_->awaitedSaves;
}

void SessionManager::cancelLogOut()
{
    SmsShutdownCancelled(session_->program);
}

void SessionManager::endSession()
{
    SmsDie(session_->program);
}

bool SessionManager::hasLost()
{
    session_->read();
    return session_->isOver;
}

} // namespace velmo::test
