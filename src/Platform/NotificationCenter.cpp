#include "Platform/NotificationCenter.h"

#include <vector>

namespace mosaro {

NotificationCenter::Token NotificationCenter::addObserver(const QString& name, const void* object, Handler handler)
{
    const Token token = m_next++;
    m_observers.emplace(token, Observer{name, object, std::move(handler)});
    return token;
}

void NotificationCenter::removeObserver(Token token)
{
    m_observers.erase(token);
}

void NotificationCenter::post(const QString& name, const void* object, const QVariantMap& userInfo)
{
    const Notification note{name, object, userInfo};
    // Observers may add or remove observers while being called: walk a snapshot of tokens and
    // skip any that were removed meanwhile.
    std::vector<Token> tokens;
    tokens.reserve(m_observers.size());
    for (const auto& [token, observer] : m_observers) {
        if ((observer.name.isEmpty() || observer.name == name) && (!observer.object || observer.object == object))
            tokens.push_back(token);
    }
    for (Token token : tokens) {
        auto it = m_observers.find(token);
        if (it == m_observers.end())
            continue;
        Handler handler = it->second.handler; // keep alive even if the observer removes itself
        handler(note);
    }
}

NotificationCenter& NotificationCenter::defaultCenter()
{
    static NotificationCenter center;
    return center;
}

NotificationCenter& NotificationCenter::workspaceCenter()
{
    static NotificationCenter center;
    return center;
}

} // namespace mosaro
