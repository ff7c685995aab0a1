#include "Demo.h"

#include <QUuid>

namespace {

struct Sample {
    const char* title;
    Section section;
    Priority priority;
    std::optional<int> dueInDays;
    const char* source = nullptr;
    const char* note = nullptr;
    Channel channel = Channel::self;
    bool flagged = false;
    bool byAI = false;
    bool done = false;
    QList<WireLink> links = {};
};

QString stamp(const QDateTime& instant) {
    return instant.toUTC().toString(Qt::ISODateWithMs);
}

} // namespace

namespace Demo {

WireDocument document(const QDate& today, const QDateTime& now) {
    const QList<Sample> samples{
        {"Send the Q3 budget to Priya", Section::action, Priority::high, -2, "Priya",
         "She needs it before the board pack goes out.", Channel::email, true},
        {"Pay the electricity bill",
         Section::action,
         Priority::high,
         -1,
         nullptr,
         nullptr,
         Channel::self,
         false,
         false,
         false,
         {{QStringLiteral("Account"), QStringLiteral("https://example.com/billing")}}},
        {"Renew passport", Section::action, Priority::medium, 0},
        {"Review Dana's pull request",
         Section::action,
         Priority::medium,
         0,
         "Dana",
         nullptr,
         Channel::teams,
         false,
         false,
         false,
         {{QStringLiteral("Pull request"), QStringLiteral("https://example.com/pr/42")}}},
        {"Draft release notes for 0.2", Section::action, Priority::low, 3, "Weekly sync",
         "Suggested from the meeting notes.", Channel::meeting, false, true},
        {"Book a room for the offsite", Section::action, Priority::low, 7},
        {"Call the dentist", Section::action, Priority::medium, std::nullopt, nullptr, nullptr,
         Channel::self, false, false, true},
        {"Signed contract", Section::waiting, Priority::high, -3, "Marco (Legal)", nullptr,
         Channel::email},
        {"Design mockups for onboarding",
         Section::waiting,
         Priority::medium,
         0,
         "Lena",
         nullptr,
         Channel::teams,
         false,
         false,
         false,
         {{QStringLiteral("Board"), QStringLiteral("https://example.com/design/onboarding")}}},
        {"Travel reimbursement", Section::waiting, Priority::low, 5, "Finance"},
        {"Office wifi password changes on Monday", Section::note, Priority::low, std::nullopt},
        {"Priya prefers calls before 10am", Section::note, Priority::medium, std::nullopt, "Priya"},
        {"Team handbook",
         Section::note,
         Priority::low,
         std::nullopt,
         nullptr,
         nullptr,
         Channel::self,
         false,
         false,
         false,
         {{QStringLiteral("Handbook"), QStringLiteral("https://example.com/handbook")}}},
    };

    WireDocument document;
    int minutesAgo = 60 * 24 * 3;
    for (const Sample& sample : samples) {
        WireItem item;
        item.id = QUuid::createUuid().toString(QUuid::WithoutBraces);
        item.title = QString::fromUtf8(sample.title);
        item.section = sample.section;
        item.priority = sample.priority;
        item.channel = sample.channel;
        if (sample.dueInDays)
            item.due = today.addDays(*sample.dueInDays).toString(QStringLiteral("yyyy-MM-dd"));
        if (sample.source)
            item.source = QString::fromUtf8(sample.source);
        if (sample.note)
            item.note = QString::fromUtf8(sample.note);
        if (sample.flagged)
            item.flagged = true;
        if (sample.byAI) {
            item.origin = Origin::ai;
            item.initiated = Initiated::automatic;
        }
        item.links = sample.links;
        item.createdAt = stamp(now.addSecs(-60 * minutesAgo));
        minutesAgo -= 217;
        if (sample.done) {
            item.status = ItemStatus::done;
            item.completedAt = stamp(now.addSecs(-3600));
        }
        document.items.push_back(item);
    }

    WireRule rule;
    rule.id = QUuid::createUuid().toString(QUuid::WithoutBraces);
    rule.action = RuleAction::exclude;
    rule.match.conditions = {{RuleField::title, RuleOp::contains, {QStringLiteral("OOO")}}};
    rule.reason = QStringLiteral("Out-of-office notes are not tasks");
    rule.createdAt = rule.updatedAt = stamp(now.addDays(-2));
    document.rules.push_back(rule);
    document.focus = {QStringLiteral("Priya")};
    return document;
}

} // namespace Demo
