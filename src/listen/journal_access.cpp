#include "listen/journal_access.h"

#include "journal/volume_journal.h"

namespace tavi::listen {

std::optional<platform::UsnJournalData> QueryJournal(platform::Platform& platform, const std::u16string& listenPath) {
    journal::VolumeJournal journal(platform, listenPath);
    if (!journal.CreateVolumeHandle() || journal.QueryChangeJournal() == 0)
        return std::nullopt;
    return journal.journalData();
}

bool JournalIsUsable(platform::Platform& platform, const std::u16string& listenPath) {
    return QueryJournal(platform, listenPath).has_value();
}

void CreateJournal(platform::Platform& platform, const std::u16string& listenPath) {
    journal::VolumeJournal journal(platform, listenPath);
    if (journal.CreateVolumeHandle())
        journal.CreateChangeJournal();
}

}  // namespace tavi::listen
