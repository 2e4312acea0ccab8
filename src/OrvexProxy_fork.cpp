// What a child of a fork finds of its parent's engine. The child has one thread, and locks that
// other threads of the parent held would never be released; and two processes that speak on one
// connection would read each other's answers.
#include <pthread.h>

#include "ConnectionPool.h"
#include "DateTime.h"
#include "Logger.h"
#include "OrvexProxy.h"
#include "OwnSocket.h"
#include "StandardStreams.h"
#include "StreamPrint.h"
#include "proxy_session.h"
#include "proxy_uuid.h"

// Held over the fork are the locks that are never held for long, so that what they guard is whole
// in the child; taken in the order in which one may be held while the next is taken. The log's own
// forks hold some of them already, and their children only run another program.
void OrvexProxy::BeforeFork() {
    if (Logger::IsAtWorkHere()) return;
    mutex_inst_.Lock();
    change_lock_.Lock();
    ProxySession::IdentityLock().Lock();
    DateTime::LocalTimeLock().Lock();
    ConnectionPool::GetInstance()->HoldStill();
    OwnSocket::Lock().Lock();
    g_uuid_lock.LockForWriting();
    g_logger.HoldStill();
    StandardStreams::HoldStill();
}

void OrvexProxy::AfterForkInParent() {
    if (Logger::IsAtWorkHere()) return;
    StandardStreams::GoOn();
    g_logger.GoOn();
    g_uuid_lock.Unlock();
    OwnSocket::Lock().Unlock();
    ConnectionPool::GetInstance()->GoOn();
    DateTime::LocalTimeLock().Unlock();
    ProxySession::IdentityLock().Unlock();
    change_lock_.Unlock();
    mutex_inst_.Unlock();
}

// Nobody holds change_lock_ in Init, which changes all that rw_lock_ guards and takes its time: a
// child that was forked by another thread in the middle of it must not use the engine.
void OrvexProxy::AfterForkInChild() {
    if (Logger::IsAtWorkHere()) return;
    GoOnPrintingInChild();
    StandardStreams::GoOnInChild();
    g_logger.GoOnInChild();
    g_uuid_lock.Renew();
    // At once: a child may close and use again every descriptor that it finds.
    OwnSocket::CloseAllInChild();
    OwnSocket::Lock().Unlock();
    ConnectionPool::GetInstance()->GoOn();
    DateTime::LocalTimeLock().Unlock();
    ProxySession::IdentityLock().Unlock();
    change_lock_.Unlock();
    mutex_inst_.Unlock();
    if (OrvexProxy* const instance = inst_) {
        instance->rw_lock_.Renew();
    }
}

int OrvexProxy::SurviveForks() {
    return pthread_atfork(BeforeFork, AfterForkInParent, AfterForkInChild);
}
