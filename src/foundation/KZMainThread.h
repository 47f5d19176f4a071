#pragma once

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>

#include <type_traits>

// Runs work on the application's main thread and waits for it: right away when already there
// (or when there is no application object), otherwise through a blocking queued call. The main
// thread must not be waiting for the caller, or both wait for ever.
class KZMainThread
{
public:
    [[nodiscard]] static bool isMainThread()
    {
        const QCoreApplication *app = QCoreApplication::instance();
        return !app || QThread::currentThread() == app->thread();
    }

    template<typename Work>
    static auto run(Work work) -> std::invoke_result_t<Work>
    {
        using Result = std::invoke_result_t<Work>;
        if (isMainThread())
            return work();
        if constexpr (std::is_void_v<Result>) {
            QMetaObject::invokeMethod(QCoreApplication::instance(), work,
                                      Qt::BlockingQueuedConnection);
        } else {
            Result result{};
            QMetaObject::invokeMethod(
                QCoreApplication::instance(), [&result, &work] { result = work(); },
                Qt::BlockingQueuedConnection);
            return result;
        }
    }
};
