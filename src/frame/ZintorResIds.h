#pragma once
// Resource ids of the language resource library "ZintorRes.dll". Included by the library's code
// and by every language's .rc (resources/ZintorRes/<langid>/ZintorRes.rc), so both sides name the
// same numbers; resources/ZintorRes/STRINGS.md says who uses each string and with what arguments.
// Plain #defines only: the resource compiler reads this file too.

// Dialog templates and their controls.
#define IDD_TIMED_GROUPS          1000 // timed groups dialog
#define IDC_TIMED_GROUPS_LIST     1005 //   owner-drawn list view; Cancel is IDCANCEL (2)
#define IDD_MODELESS_MESSAGE      6000 // modeless message window
#define IDC_MODELESS_MESSAGE_TEXT 6005 //   the message text; OK is IDOK (1)
#define IDD_PERFMON_SETTINGS      300  // method timings settings dialog; OK 1, Cancel 2
#define IDC_PERFMON_DEPTH         305  //   call stack depth (edit, numbers)
#define IDC_PERFMON_FILENAME      310  //   trace file name (edit)
#define IDC_PERFMON_EACHTIME      315  //   write a line at every Stop (check box)
#define IDC_PERFMON_MODELESS      320  //   radio: modeless monitor window
#define IDC_PERFMON_MODAL         325  //   radio: monitor window that stays in front
#define IDC_PERFMON_INT3          335  //   break into the debugger after each Start (check box)
#define IDC_PERFMON_LOG           340  //   the status list that grows with the dialog
#define IDC_PERFMON_ENABLE        350  //   start timing (enabled while timing is off)
#define IDC_PERFMON_DISABLE       355  //   stop timing (enabled while timing is on)

// Strings.
#define IDS_LINE_ICON_MISSING         205
#define IDS_CAPTION_YES               313
#define IDS_CAPTION_NO                314
#define IDS_CAPTION_OK                315
#define IDS_CAPTION_CANCEL            316
#define IDS_CAPTION_ABORT             317
#define IDS_CAPTION_RETRY             318
#define IDS_CAPTION_IGNORE            319
#define IDS_DEFAULT_WINDOW_TITLE      327
#define IDS_CAPTION_CLOSE             330
#define IDS_CAPTION_HELP              334
#define IDS_MODELESS_MESSAGE_ARGS     528
#define IDS_BUTTON_RECT_ARGS          553
#define IDS_BUTTON_LIST_ARGS          554
#define IDS_BUTTON_DEFINITION         555
#define IDS_SPLASH_IMAGE_MISSING      567
#define IDS_ERROR_WITH_SYSTEM_TEXT    625 // %s context, %s system description
#define IDS_ALLOC_FAILED              635 // %I64d size
#define IDS_REALLOC_FAILED            636 // %I64d size
#define IDS_TIME_DAYS                 640 // %d days, %d hours, %d minutes, %d seconds
#define IDS_TIME_HOURS                641 // %d hours, %d minutes, %d seconds
#define IDS_TIME_MINUTES              642 // %d minutes, %d seconds
#define IDS_TIME_SECONDS              643 // %d seconds
#define IDS_WINDOW_CLASS_REGISTRATION 647
#define IDS_DIALOG_SETTINGS           652
#define IDS_DIALOG_TEXT_LIST          653
#define IDS_IMAGE_NO_FILENAME         654
#define IDS_IMAGE_NOT_LOADED          655
#define IDS_BUTTON_NO_UP_IMAGE        656
#define IDS_BUTTON_UP_IMAGE_FAILED    657
#define IDS_WINDOW_IMAGES_FAILED      661
