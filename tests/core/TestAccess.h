// The doors that the library's classes leave open to their tests: each struct is a friend of one
// class and hands out what a test has to see or to set.
#pragma once

#include <deque>
#include <map>
#include <string>

#include "ConnectionPool.h"
#include "proxy_params_mgr.h"
#include "proxy_session.h"

struct ProxyParamsMgrTestAccess {
    static int CheckAndGetConfig(const std::string& name, const std::string& value_text,
                                 Lexo_ParamKey* key, Lexo_ParamValue* value) {
        return ProxyParamsMgr::CheckAndGetConfig(name, value_text, key, value);
    }
};

struct ProxySessionTestAccess {
    static int& IdentifyIndex() { return ProxySession::identify_index_; }
    static std::string NewIdentify() { return ProxySession::NewIdentify(); }
};

struct ConnectionPoolTestAccess {
    using Clients = std::deque<TcpClientUser*>;

    // By server key.
    static std::map<std::string, Clients>& Idle() {
        return ConnectionPool::GetInstance()->tcp_clients_;
    }
};
