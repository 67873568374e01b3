#pragma once

#include <QObject>

// Whether Limitra has a taskbar entry: accessory (none) or regular.
enum class ActivationPolicy { accessory, regular };

// What decides the dashboard window's taskbar entry. The model decides the
// policy; the window follows `policyChanged`.
class ActivationPolicyTarget
{
public:
    virtual ~ActivationPolicyTarget() = default;
    virtual ActivationPolicy policy() const = 0;
    // `activate`: bring Limitra to the front as well.
    virtual void setPolicy(ActivationPolicy policy, bool activate) = 0;
};

// The application's current policy, observed by the dashboard window.
class TaskbarPolicy : public QObject, public ActivationPolicyTarget
{
    Q_OBJECT

public:
    using QObject::QObject;

    ActivationPolicy policy() const override { return m_policy; }
    void setPolicy(ActivationPolicy policy, bool activate) override
    {
        m_policy = policy;
        Q_EMIT policyChanged(activate);
    }

Q_SIGNALS:
    void policyChanged(bool activate);

private:
    // Without a taskbar entry until something asks for one.
    ActivationPolicy m_policy = ActivationPolicy::accessory;
};
