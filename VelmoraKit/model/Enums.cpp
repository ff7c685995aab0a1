#include "Enums.h"

QString label(Section section) {
    switch (section) {
    case Section::action:
        return QStringLiteral("Action");
    case Section::waiting:
        return QStringLiteral("Waiting");
    case Section::note:
        return QStringLiteral("Note");
    }
    return {};
}

QString plural(Section section) {
    switch (section) {
    case Section::action:
        return QStringLiteral("Actions");
    case Section::waiting:
        return QStringLiteral("Waiting on");
    case Section::note:
        return QStringLiteral("Notes");
    }
    return {};
}

QString label(Channel channel) {
    switch (channel) {
    case Channel::self:
        return QStringLiteral("Me");
    case Channel::teams:
        return QStringLiteral("Teams");
    case Channel::email:
        return QStringLiteral("Email");
    case Channel::meeting:
        return QStringLiteral("Meeting");
    case Channel::other:
        return QStringLiteral("Other");
    }
    return {};
}
