#include "SampleDocument.h"

#include <QDate>

#include <random>

namespace {

const char* const words[] = {
    "quarterly", "budget",   "review", "send",     "deck",     "follow",  "up",      "with",
    "client",    "contract", "draft",  "meeting",  "notes",    "invoice", "approve", "team",
    "offsite",   "agenda",   "hiring", "plan",     "roadmap",  "launch",  "vendor",  "renewal",
    "security",  "audit",    "call",   "schedule", "feedback", "design",  "spec",    "release"};
const char* const people[] = {"Dana Whitfield", "Sam Okafor", "Priya Raman", "Lukas Brandt",
                              "Mei Tanaka",     "Ana Souza",  "Tom Eriksen", "Grace Liu"};

QString phrase(std::mt19937& rng, int count) {
    std::uniform_int_distribution<int> pick(0, int(std::size(words)) - 1);
    QString out;
    for (int i = 0; i < count; ++i) {
        if (i)
            out += QLatin1Char(' ');
        out += QLatin1String(words[pick(rng)]);
    }
    return out;
}

QString instant(std::mt19937& rng, bool fraction) {
    const QDate day = QDate(2025, 1, 1).addDays(std::uniform_int_distribution<int>(0, 450)(rng));
    const int seconds = std::uniform_int_distribution<int>(0, 86'399)(rng);
    QString out = QStringLiteral("%1T%2:%3:%4")
                      .arg(day.toString(Qt::ISODate))
                      .arg(seconds / 3600, 2, 10, QLatin1Char('0'))
                      .arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'))
                      .arg(seconds % 60, 2, 10, QLatin1Char('0'));
    if (fraction)
        out += QStringLiteral(".%1").arg(seconds % 1000, 3, 10, QLatin1Char('0'));
    return out + QLatin1Char('Z');
}

} // namespace

WireDocument sampleDocument(int itemCount) {
    std::mt19937 rng(20'260'301);
    const auto chance = [&](int percent) {
        return std::uniform_int_distribution<int>(0, 99)(rng) < percent;
    };
    const auto one = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };

    WireDocument doc;
    doc.schemaVersion = 4;
    doc.items.reserve(itemCount);
    for (int i = 0; i < itemCount; ++i) {
        WireItem item;
        item.id = QStringLiteral("itm_%1").arg(i, 8, 16, QLatin1Char('0'));
        item.title = phrase(rng, 3 + one(8));
        if (i % 2 == 0)
            item.note = phrase(rng, 10 + one(32));
        item.section = Section(one(3));
        item.channel = Channel(one(5));
        if (chance(70))
            item.source = QLatin1String(people[one(int(std::size(people)))]);
        if (item.channel != Channel::self)
            item.sourceId = QStringLiteral("msg-%1").arg(rng(), 0, 16);
        if (chance(60))
            item.due = QDate(2026, 1, 1).addDays(one(200)).toString(Qt::ISODate);
        item.priority = Priority(one(3));
        if (chance(20))
            item.flagged = chance(50);
        if (i % 3 == 0)
            for (int l = 1 + one(3); l > 0; --l)
                item.links.push_back({phrase(rng, 2), QStringLiteral("https://docs.example.com/"
                                                                     "d/%1/edit?tab=t.%2")
                                                          .arg(rng(), 0, 36)
                                                          .arg(l)});
        item.status = chance(30) ? ItemStatus::done : ItemStatus::open;
        item.origin = chance(40) ? Origin::ai : Origin::user;
        if (item.origin == Origin::ai)
            item.initiated = chance(50) ? Initiated::automatic : Initiated::human;
        if (chance(5))
            item.shared = WireSharedMark{QStringLiteral("sam@example.com"), SharedState(one(4))};
        item.createdAt = instant(rng, chance(50));
        if (item.status == ItemStatus::done)
            item.completedAt = instant(rng, true);
        if (chance(3))
            item.deletedAt = instant(rng, true);
        doc.items.push_back(std::move(item));
    }
    for (int i = 0; i < 300; ++i) {
        WireRejection rejection;
        rejection.id = QStringLiteral("rej_%1").arg(i);
        rejection.at = instant(rng, true);
        rejection.kind = RejectionKind(one(8));
        rejection.title = phrase(rng, 5);
        rejection.source = QLatin1String(people[one(int(std::size(people)))]);
        rejection.section = Section(one(3));
        doc.rejections.push_back(std::move(rejection));
    }
    for (int i = 0; i < 12; ++i) {
        WireRule rule;
        rule.id = QStringLiteral("rule_%1").arg(i);
        rule.status = chance(25) ? RuleStatus::paused : RuleStatus::active;
        rule.action = RuleAction(one(4));
        rule.match.op = MatchOp(one(2));
        for (int c = 1 + one(3); c > 0; --c)
            rule.match.conditions.push_back(
                {RuleField(one(6)), RuleOp(one(3)), QStringList{phrase(rng, 1), phrase(rng, 1)}});
        if (rule.action == RuleAction::recategorize)
            rule.params.section = Section(one(3));
        rule.reason = phrase(rng, 8);
        rule.origin = {RuleOriginKind(one(2)), {QStringLiteral("rej_%1").arg(i)}, one(9)};
        rule.createdBy = Origin(one(2));
        rule.createdAt = rule.updatedAt = instant(rng, true);
        rule.applyCount = one(500);
        doc.rules.push_back(std::move(rule));
    }
    for (int i = 0; i < 500; ++i)
        doc.suppressions.push_back({QStringLiteral("fp_%1").arg(rng(), 8, 16, QLatin1Char('0')),
                                    SuppressionReason(one(2)), phrase(rng, 4),
                                    instant(rng, false)});
    doc.focus = {QStringLiteral("itm_00000010"), QStringLiteral("Ship the Q3 plan")};
    doc.settings.hideDone = true;
    return doc;
}
