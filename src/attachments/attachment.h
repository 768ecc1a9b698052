#pragma once

#include "platform/automation/describe.h"
#include "platform/desktop/process.h"

#include <functional>

namespace corveth {

class Recordset;

/// A file kept with an item; one row of `Attachments`.
class CORVETH_API Attachment final : public Described<Attachment> {
public:
    static constexpr const char* className = "Attachment";
    static const ClassInfo description;

    Text LinkId;                     ///< ID of the item that the file belongs to
    Text LinkType;                   ///< display name of that item's type
    Value Data;                      ///< the whole file, an array of bytes
    Text AttachmentDate;             ///< as date text, or as a day number after `Populate`
    std::int32_t AttachmentSize = 0; ///< in bytes
    Text AttachmentTitle;            ///< the file's name
    Text AttachmentType;             ///< what kind of file it is, in words
    Text AttachmentID;

    // A file that is shown or changed.
    /// Of the copy that `OpenAttachment` made last.
    [[nodiscard]] Text get_TempFilePath() const { return tempFilePath_; }
    /// Of the members before this one in the collection that made it.
    [[nodiscard]] std::int32_t get_Index() const { return index_; }
    void setIndex(std::int32_t index) noexcept { index_ = index; }

    /// Of the program that `OpenAttachment` started last; 0 when the desktop was left to find one.
    [[nodiscard]] std::int32_t get_ThreadId() const { return process_.id(); }
    /// The window that shows the document, as the client found it.
    void let_DocumentWindowHwnd(const std::int32_t& window) { documentWindow_ = window; }
    [[nodiscard]] std::int32_t get_DocumentWindowHwnd() const { return documentWindow_; }
    /// The client's word that the document is open.
    void let_Alive(bool value) noexcept { isAlive_ = value; }
    [[nodiscard]] bool get_Alive() const noexcept { return isAlive_; }
    /// Writes a copy into the temporary folder and starts the program that the desktop has for it, or the copy itself
    /// when it is one; without a program the desktop asks the user. Nothing while `Alive`. Failures go to the log.
    void OpenAttachment();
    /// Ends the program that was started, and its window. Failures go to the log.
    void CloseAttachmentWindow();

    /// Loads the row of `AttachmentID`, the date as a day number. Without a row the link and the data become empty, the
    /// type of the link "None", the date the present moment; a Null date or size fails.
    void Populate();
    /// Writes the row of `AttachmentID`, which must be there, or with an empty one a new row, whose ID the object
    /// takes. `LinkId` stays as it is. Once there is a row, what cannot be written is passed over and logged.
    void UpdateAttachment(Text mLinkId);
    /// With `bSelf` in a transaction of its own.
    void DeleteAttachment(bool bSelf = false);

    // For collections.
    /// Takes over the current row, the date as date text. What is large is moved out of the row.
    void load(Recordset& rows);
    /// Makes `row` a recordset over a new row, with an ID of its own.
    static void openNew(Recordset& row);
    /// Makes `row` a recordset over the row of `AttachmentID`; at EOF without one.
    void openExisting(Recordset& row) const;
    /// By which the log names it: the ID, or the title of one without.
    [[nodiscard]] const Text& nameInLog() const noexcept {
        return AttachmentID.empty() ? AttachmentTitle : AttachmentID;
    }
    /// Puts the content and what describes it into the row being written. A column that does not take its value is
    /// passed over and logged.
    void storeContent(Recordset& row) const;

private:
    struct Table;
    void readDayNumber(Value& cell);
    [[nodiscard]] Value parsedDate() const;
    /// Runs `body`; a failure goes to the log.
    void attempt(const char* what, const std::function<void()>& body) const noexcept;
    void writeCopy(const Text& path) const;
    void start(const Text& path, const Text& program);

    Text tempFilePath_;
    RunningProcess process_;
    bool isAlive_ = false;
    std::int32_t documentWindow_ = 0;
    std::int32_t index_ = 0;
};

} // namespace corveth
