/*
 * kyt_elem.h - element records of the station tables, one struct per table.
 *
 * Generated from the library's table description; do not edit. The unit test
 * ElemRecords fails when this file and the description differ; to write it anew run
 *   KYT_REGEN_ELEM=1 out/linux/tests/kyt_tests --gtest_filter='ElemRecords.*'
 *
 * The rule: struct kyt_<tt>_elem, tt the table name in lower case; one member a column,
 * in column order, named by the column in lower case; CHAR(n) as char[n] (text of up to
 * n-1 characters and its zero byte), SMALLINT int16_t, INTEGER int32_t, date-time
 * columns (INTEGER columns named DT...) char[20] holding the date-time text
 * "YYYY/MM/DD hh:mm:ss" in local time (the empty text: not set); last the member next,
 * which chains the elements of a list result. One name differs from the rule: the
 * column ERRNO is the member errno_, since errno is a macro of <errno.h>.
 *
 * Stands alone (it needs only <stdint.h>); kyt.h does not include it.
 */
#ifndef KYT_KYT_ELEM_H
#define KYT_KYT_ELEM_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* RI */
typedef struct kyt_ri_elem {
  int32_t kytid;               /* INTEGER NOT NULL, key 1 */
  char mname[128];             /* CHAR(128) NOT NULL */
  char ptype[2];               /* CHAR(2) NOT NULL */
  int32_t pid;                 /* INTEGER NOT NULL */
  char dtlastused[20];         /* INTEGER as date-time text NOT NULL */
  int32_t flgflush;            /* INTEGER NOT NULL */
  char stopmode[2];            /* CHAR(2) NOT NULL */
  struct kyt_ri_elem *next;
} kyt_ri_elem;

/* PT */
typedef struct kyt_pt_elem {
  char name[20];               /* CHAR(20) NOT NULL, key 1 */
  int16_t type;                /* SMALLINT NOT NULL */
  int32_t len;                 /* INTEGER NOT NULL */
  char val[40];                /* CHAR(40) NOT NULL */
  struct kyt_pt_elem *next;
} kyt_pt_elem;

/* KT */
typedef struct kyt_kt_elem {
  int32_t cn;                  /* INTEGER NOT NULL, key 1 */
  char cmdtype[3];             /* CHAR(3) NOT NULL */
  int16_t priority;            /* SMALLINT */
  char dtcreated[20];          /* INTEGER as date-time text NOT NULL */
  char dtdone[20];             /* INTEGER as date-time text */
  char dtschedule[20];         /* INTEGER as date-time text */
  int16_t flagserial;          /* SMALLINT NOT NULL */
  char status[3];              /* CHAR(3) NOT NULL */
  char heldby[2];              /* CHAR(2) */
  char xidheld[21];            /* CHAR(21) */
  char dthold[20];             /* INTEGER as date-time text */
  char freedby[2];             /* CHAR(2) */
  char xidfreed[21];           /* CHAR(21) */
  char dtfree[20];             /* INTEGER as date-time text */
  char deletedby[2];           /* CHAR(2) */
  char xiddeleted[21];         /* CHAR(21) */
  int16_t errorcode;           /* SMALLINT NOT NULL */
  int32_t kytid;               /* INTEGER NOT NULL */
  char dtlastused[20];         /* INTEGER as date-time text */
  struct kyt_kt_elem *next;
} kyt_kt_elem;

/* LM */
typedef struct kyt_lm_elem {
  int32_t cn;                  /* INTEGER NOT NULL, key 1 */
  char msgclass[2];            /* CHAR(2) NOT NULL */
  char msgtextlm[245];         /* CHAR(245) NOT NULL */
  struct kyt_lm_elem *next;
} kyt_lm_elem;

/* LT */
typedef struct kyt_lt_elem {
  int32_t msgid;               /* INTEGER NOT NULL, key 1 */
  char dtcreated[20];          /* INTEGER as date-time text */
  char msgclass[2];            /* CHAR(2) */
  char msgname[31];            /* CHAR(31) */
  char msgtext[2001];          /* CHAR(2001) */
  char nodename[128];          /* CHAR(128) */
  char processtyp[2];          /* CHAR(2) */
  int32_t processid;           /* INTEGER */
  char kontexttyp[2];          /* CHAR(2) */
  int32_t kontextid;           /* INTEGER */
  char kontextsid[17];         /* CHAR(17) */
  struct kyt_lt_elem *next;
} kyt_lt_elem;

/* OP */
typedef struct kyt_op_elem {
  char sid[17];                /* CHAR(17) NOT NULL, key 1 */
  char odetteid[26];           /* CHAR(26) NOT NULL */
  char pswfrom[9];             /* CHAR(9) NOT NULL */
  char pswto[9];               /* CHAR(9) NOT NULL */
  int32_t sendblocks;          /* INTEGER */
  int32_t recvblocks;          /* INTEGER */
  int32_t ocreval;             /* INTEGER */
  int32_t oexbuf;              /* INTEGER */
  char codein[2];              /* CHAR(2) */
  char codeout[2];             /* CHAR(2) */
  char userfield[10];          /* CHAR(10) */
  int32_t retry;               /* INTEGER */
  char eerp_in[10];            /* CHAR(10) */
  char eerp_out[10];           /* CHAR(10) */
  char vdsnchar[10];           /* CHAR(10) */
  int16_t flagcomp;            /* SMALLINT NOT NULL */
  int16_t flagcryp;            /* SMALLINT NOT NULL */
  char routing[2];             /* CHAR(2) */
  char security[10];           /* CHAR(10) */
  char usepki[4];              /* CHAR(4) */
  char useuls[9];              /* CHAR(9) */
  char oftplev[2];             /* CHAR(2) */
  char usersep[2];             /* CHAR(2) */
  char direction[2];           /* CHAR(2) */
  char compflags[16];          /* CHAR(16) */
  char crypflags[16];          /* CHAR(16) */
  struct kyt_op_elem *next;
} kyt_op_elem;

/* LX */
typedef struct kyt_lx_elem {
  char sid[17];                /* CHAR(17) NOT NULL, key 1 */
  char name[12];               /* CHAR(12) NOT NULL, key 2 */
  int16_t type;                /* SMALLINT NOT NULL */
  int32_t len;                 /* INTEGER NOT NULL */
  char val[30];                /* CHAR(30) NOT NULL */
  struct kyt_lx_elem *next;
} kyt_lx_elem;

/* BT */
typedef struct kyt_bt_elem {
  char uid[21];                /* CHAR(21) NOT NULL, key 1 */
  char nameusr[31];            /* CHAR(31) NOT NULL */
  char privusr[2];             /* CHAR(2) NOT NULL */
  char profsess[2];            /* CHAR(2) */
  char language[2];            /* CHAR(2) NOT NULL */
  char password[17];           /* CHAR(17) */
  char usersid[17];            /* CHAR(17) */
  struct kyt_bt_elem *next;
} kyt_bt_elem;

/* OK */
typedef struct kyt_ok_elem {
  int32_t cn;                  /* INTEGER NOT NULL, key 1 */
  char cid[12];                /* CHAR(12) NOT NULL */
  int32_t cpid;                /* INTEGER NOT NULL */
  char textok[255];            /* CHAR(255) NOT NULL */
  struct kyt_ok_elem *next;
} kyt_ok_elem;

/* JS */
typedef struct kyt_js_elem {
  int32_t cn;                  /* INTEGER NOT NULL, key 1 */
  char vdsn[27];               /* CHAR(27) NOT NULL */
  char uidsender[21];          /* CHAR(21) NOT NULL */
  char sidsender[17];          /* CHAR(17) NOT NULL */
  char sidrcv[17];             /* CHAR(17) NOT NULL */
  int32_t cntsendatt;          /* INTEGER NOT NULL */
  char batchjob[255];          /* CHAR(255) NOT NULL */
  char uidcreator[21];         /* CHAR(21) NOT NULL */
  char commentjs[51];          /* CHAR(51) */
  char dtlastused[20];         /* INTEGER as date-time text */
  struct kyt_js_elem *next;
} kyt_js_elem;

/* ST */
typedef struct kyt_st_elem {
  char sid[17];                /* CHAR(17) NOT NULL, key 1 */
  char netid[26];              /* CHAR(26) NOT NULL */
  char statname[31];           /* CHAR(31) NOT NULL */
  char phone[30];              /* CHAR(30) */
  char sidtyp[2];              /* CHAR(2) */
  struct kyt_st_elem *next;
} kyt_st_elem;

/* NK */
typedef struct kyt_nk_elem {
  char sid[17];                /* CHAR(17) NOT NULL, key 1 */
  char ftp[2];                 /* CHAR(2) NOT NULL, key 2 */
  char protocol[2];            /* CHAR(2) NOT NULL, key 3 */
  int16_t priority;            /* SMALLINT NOT NULL */
  int16_t flagsuspnd;          /* SMALLINT NOT NULL */
  char autodial[2];            /* CHAR(2) NOT NULL */
  int32_t delay;               /* INTEGER */
  int32_t psessions;           /* INTEGER */
  struct kyt_nk_elem *next;
} kyt_nk_elem;

/* LU */
typedef struct kyt_lu_elem {
  char sid[17];                /* CHAR(17) NOT NULL, key 1 */
  char netid[9];               /* CHAR(9) */
  char luname[9];              /* CHAR(9) NOT NULL */
  char tpname[65];             /* CHAR(65) NOT NULL */
  char userid[11];             /* CHAR(11) NOT NULL */
  char password[11];           /* CHAR(11) NOT NULL */
  char profile[65];            /* CHAR(65) */
  char mode[9];                /* CHAR(9) */
  int16_t security;            /* SMALLINT NOT NULL */
  int16_t flgsync;             /* SMALLINT NOT NULL */
  int16_t flgconv;             /* SMALLINT NOT NULL */
  struct kyt_lu_elem *next;
} kyt_lu_elem;

/* ET */
typedef struct kyt_et_elem {
  char uid[21];                /* CHAR(21) NOT NULL, key 1 */
  char cid[12];                /* CHAR(12) NOT NULL, key 2 */
  char siddest[17];            /* CHAR(17) NOT NULL, key 3 */
  int32_t cnse;                /* INTEGER NOT NULL, key 4 */
  int32_t cnie;                /* INTEGER NOT NULL, key 5 */
  int32_t cnsk;                /* INTEGER */
  int32_t cniz;                /* INTEGER */
  char vdsn[27];               /* CHAR(27) NOT NULL */
  char code[5];                /* CHAR(5) NOT NULL */
  char codetable[255];         /* CHAR(255) */
  int16_t flagtstamp;          /* SMALLINT NOT NULL */
  int16_t flagcomp;            /* SMALLINT NOT NULL */
  int16_t flagcryp;            /* SMALLINT NOT NULL */
  char sidneighb[17];          /* CHAR(17) */
  char statuset[3];            /* CHAR(3) NOT NULL */
  char deletedby[2];           /* CHAR(2) */
  char xiddeleted[21];         /* CHAR(21) */
  struct kyt_et_elem *next;
} kyt_et_elem;

/* RE */
typedef struct kyt_re_elem {
  int32_t cn;                  /* INTEGER NOT NULL, key 1 */
  char uidlocal[21];           /* CHAR(21) NOT NULL */
  char vdsn[27];               /* CHAR(27) NOT NULL */
  char uidsender[21];          /* CHAR(21) NOT NULL */
  char sidsender[17];          /* CHAR(17) NOT NULL */
  char dsnlocal[255];          /* CHAR(255) */
  char replace[2];             /* CHAR(2) NOT NULL */
  char disp[2];                /* CHAR(2) NOT NULL */
  int16_t flagtstamp;          /* SMALLINT NOT NULL */
  char printdef[2];            /* CHAR(2) */
  char batchjob[255];          /* CHAR(255) */
  char uidcreator[21];         /* CHAR(21) NOT NULL */
  char acctrecvr[21];          /* CHAR(21) NOT NULL */
  char commentre[51];          /* CHAR(51) */
  char dtlastused[20];         /* INTEGER as date-time text */
  char vftyp[2];               /* CHAR(2) */
  char codetrans[2];           /* CHAR(2) */
  char codetable[255];         /* CHAR(255) */
  int16_t flagcomp;            /* SMALLINT NOT NULL */
  int16_t flagcryp;            /* SMALLINT NOT NULL */
  struct kyt_re_elem *next;
} kyt_re_elem;

/* SK */
typedef struct kyt_sk_elem {
  int32_t cn;                  /* INTEGER NOT NULL, key 1 */
  int32_t cnse;                /* INTEGER NOT NULL */
  char dtbegsend[20];          /* INTEGER as date-time text */
  char dtendsend[20];          /* INTEGER as date-time text */
  char sidneighb[17];          /* CHAR(17) NOT NULL */
  int16_t flagzrec;            /* SMALLINT NOT NULL */
  char siddest[17];            /* CHAR(17) NOT NULL */
  char vdsn[27];               /* CHAR(27) NOT NULL */
  char dtavail[20];            /* INTEGER as date-time text NOT NULL */
  char dsntemp[255];           /* CHAR(255) */
  int16_t flagcompr;           /* SMALLINT */
  int16_t flagencr;            /* SMALLINT */
  char code[5];                /* CHAR(5) */
  int32_t cntrecord;           /* INTEGER NOT NULL */
  char cntbyte[15];            /* CHAR(15) NOT NULL */
  int32_t cntsendatt;          /* INTEGER NOT NULL */
  int32_t cntretry;            /* INTEGER NOT NULL */
  int32_t cnqe;                /* INTEGER NOT NULL */
  struct kyt_sk_elem *next;
} kyt_sk_elem;

/* VD */
typedef struct kyt_vd_elem {
  int32_t cn;                  /* INTEGER NOT NULL, key 1 */
  char dsnlocal[255];          /* CHAR(255) NOT NULL */
  char recfm[2];               /* CHAR(2) NOT NULL */
  int32_t maxrecl;             /* INTEGER NOT NULL */
  int32_t approxsize;          /* INTEGER NOT NULL */
  char filetype[9];            /* CHAR(9) */
  char disp[2];                /* CHAR(2) NOT NULL */
  int16_t flagcompr;           /* SMALLINT NOT NULL */
  int16_t flagencr;            /* SMALLINT NOT NULL */
  char code[5];                /* CHAR(5) NOT NULL */
  char statusdsn[2];           /* CHAR(2) NOT NULL */
  char codetrans[2];           /* CHAR(2) */
  char codetable[255];         /* CHAR(255) */
  char crypt[2];               /* CHAR(2) */
  char cryptable[255];         /* CHAR(255) */
  char rcompress[2];           /* CHAR(2) */
  char comptable[255];         /* CHAR(255) */
  char vftyp[2];               /* CHAR(2) */
  struct kyt_vd_elem *next;
} kyt_vd_elem;

/* SL */
typedef struct kyt_sl_elem {
  int32_t cnfirst;             /* INTEGER NOT NULL, key 1 */
  int32_t cnafterwrd;          /* INTEGER NOT NULL, key 2 */
  char dtcreated[20];          /* INTEGER as date-time text NOT NULL */
  char dtdone[20];             /* INTEGER as date-time text */
  char status[3];              /* CHAR(3) NOT NULL */
  char usrlabel[21];           /* CHAR(21) */
  struct kyt_sl_elem *next;
} kyt_sl_elem;

/* SE */
typedef struct kyt_se_elem {
  int32_t cn;                  /* INTEGER NOT NULL, key 1 */
  char uidsender[21];          /* CHAR(21) */
  char acctsender[21];         /* CHAR(21) */
  char cidsender[12];          /* CHAR(12) */
  char sidsender[17];          /* CHAR(17) NOT NULL */
  char dtschedusr[20];         /* INTEGER as date-time text */
  char seusrlabel[21];         /* CHAR(21) */
  int32_t cnie;                /* INTEGER NOT NULL */
  char infotype[2];            /* CHAR(2) NOT NULL */
  int32_t cntsk;               /* INTEGER NOT NULL */
  int32_t cntackn;             /* INTEGER NOT NULL */
  struct kyt_se_elem *next;
} kyt_se_elem;

/* TR */
typedef struct kyt_tr_elem {
  char direction[2];           /* CHAR(2) NOT NULL, key 1 */
  char sidorg[17];             /* CHAR(17) NOT NULL, key 2 */
  char siddest[17];            /* CHAR(17) NOT NULL, key 3 */
  char sidneighb[17];          /* CHAR(17) NOT NULL, key 4 */
  char vdsn[27];               /* CHAR(27) NOT NULL, key 5 */
  struct kyt_tr_elem *next;
} kyt_tr_elem;

/* LC */
typedef struct kyt_lc_elem {
  int32_t cn;                  /* INTEGER NOT NULL */
  struct kyt_lc_elem *next;
} kyt_lc_elem;

/* IZ */
typedef struct kyt_iz_elem {
  int32_t cn;                  /* INTEGER NOT NULL, key 1 */
  int32_t cnie;                /* INTEGER NOT NULL */
  char uid[21];                /* CHAR(21) NOT NULL */
  char cid[12];                /* CHAR(12) NOT NULL */
  int32_t cnre;                /* INTEGER */
  char dsnlocal[255];          /* CHAR(255) */
  char dsntemp[255];           /* CHAR(255) */
  char batchjobid[21];         /* CHAR(21) */
  struct kyt_iz_elem *next;
} kyt_iz_elem;

/* SS */
typedef struct kyt_ss_elem {
  int32_t cn;                  /* INTEGER NOT NULL, key 1 */
  int32_t cnsk;                /* INTEGER */
  char uid[21];                /* CHAR(21) */
  char direction[2];           /* CHAR(2) NOT NULL */
  char label[21];              /* CHAR(21) */
  char vdsn[27];               /* CHAR(27) NOT NULL */
  char dsn[255];               /* CHAR(255) NOT NULL */
  char siddest[17];            /* CHAR(17) */
  char sidorig[17];            /* CHAR(17) */
  char dtcreat[20];            /* INTEGER as date-time text NOT NULL */
  char dtend[20];              /* INTEGER as date-time text */
  int32_t bytes;               /* INTEGER */
  int32_t kytsize;             /* INTEGER */
  int32_t sendatt;             /* INTEGER */
  char format[2];              /* CHAR(2) */
  char status[3];              /* CHAR(3) */
  char delreason[245];         /* CHAR(245) */
  char action[8];              /* CHAR(8) NOT NULL */
  int32_t errorcode;           /* INTEGER NOT NULL */
  struct kyt_ss_elem *next;
} kyt_ss_elem;

/* RT */
typedef struct kyt_rt_elem {
  char siddest[17];            /* CHAR(17) NOT NULL, key 1 */
  char sidneighb[17];          /* CHAR(17) NOT NULL, key 2 */
  int16_t priority;            /* SMALLINT NOT NULL */
  struct kyt_rt_elem *next;
} kyt_rt_elem;

/* EC */
typedef struct kyt_ec_elem {
  int32_t cn;                  /* INTEGER NOT NULL, key 1 */
  int32_t cncmd;               /* INTEGER NOT NULL */
  char statuscn[2];            /* CHAR(2) NOT NULL */
  struct kyt_ec_elem *next;
} kyt_ec_elem;

/* QS */
typedef struct kyt_qs_elem {
  int32_t cn;                  /* INTEGER NOT NULL, key 1 */
  int32_t cnie;                /* INTEGER NOT NULL */
  int32_t cnqe;                /* INTEGER NOT NULL */
  char sidorig[17];            /* CHAR(17) NOT NULL */
  char siddest[17];            /* CHAR(17) NOT NULL */
  char vdsn[27];               /* CHAR(27) NOT NULL */
  char dtavail[20];            /* INTEGER as date-time text NOT NULL */
  char dtbegsend[20];          /* INTEGER as date-time text */
  char dtendsend[20];          /* INTEGER as date-time text */
  char sidneighb[17];          /* CHAR(17) NOT NULL */
  int32_t cntsendatt;          /* INTEGER NOT NULL */
  int32_t cntretry;            /* INTEGER NOT NULL */
  struct kyt_qs_elem *next;
} kyt_qs_elem;

/* QE */
typedef struct kyt_qe_elem {
  int32_t cn;                  /* INTEGER NOT NULL, key 1 */
  char sidneighb[17];          /* CHAR(17) NOT NULL */
  int32_t cnqs;                /* INTEGER */
  char sidorig[17];            /* CHAR(17) NOT NULL */
  char siddest[17];            /* CHAR(17) NOT NULL */
  char vdsn[27];               /* CHAR(27) NOT NULL */
  char dtavail[20];            /* INTEGER as date-time text NOT NULL */
  struct kyt_qe_elem *next;
} kyt_qe_elem;

/* IE */
typedef struct kyt_ie_elem {
  int32_t cn;                  /* INTEGER NOT NULL, key 1 */
  char sidneighb[17];          /* CHAR(17) NOT NULL */
  int32_t cnsk;                /* INTEGER NOT NULL */
  char vdsn[27];               /* CHAR(27) NOT NULL */
  char dtavail[20];            /* INTEGER as date-time text NOT NULL */
  char dtreceived[20];         /* INTEGER as date-time text NOT NULL */
  char uidsender[21];          /* CHAR(21) */
  char cidsender[12];          /* CHAR(12) */
  char sidsender[17];          /* CHAR(17) NOT NULL */
  char infotype[2];            /* CHAR(2) NOT NULL */
  int16_t flagzrec;            /* SMALLINT NOT NULL */
  int32_t cntrecord;           /* INTEGER */
  char cntbyte[15];            /* CHAR(15) */
  int32_t cntizandse;          /* INTEGER NOT NULL */
  int32_t cntackn;             /* INTEGER NOT NULL */
  int32_t cntsendatt;          /* INTEGER NOT NULL */
  struct kyt_ie_elem *next;
} kyt_ie_elem;

/* FK */
typedef struct kyt_fk_elem {
  int32_t cn;                  /* INTEGER NOT NULL, key 1 */
  int32_t err;                 /* INTEGER */
  int32_t errno_;              /* INTEGER */
  int32_t errtype;             /* INTEGER */
  char errmsg[1025];           /* CHAR(1025) */
  char dtcreated[20];          /* INTEGER as date-time text */
  struct kyt_fk_elem *next;
} kyt_fk_elem;

/* AV */
typedef struct kyt_av_elem {
  char sid[17];                /* CHAR(17) NOT NULL */
  char dtlastconn[20];         /* INTEGER as date-time text */
  char dtlasterr[20];          /* INTEGER as date-time text */
  int32_t cnterrconn;          /* INTEGER */
  int32_t cntin;               /* INTEGER */
  int32_t cntout;              /* INTEGER */
  int32_t cntconn;             /* INTEGER */
  int32_t kytid;               /* INTEGER NOT NULL, key 1 */
  struct kyt_av_elem *next;
} kyt_av_elem;

/* BB */
typedef struct kyt_bb_elem {
  int32_t cn;                  /* INTEGER NOT NULL, key 1 */
  int32_t cnorigin;            /* INTEGER NOT NULL */
  char uid[21];                /* CHAR(21) NOT NULL */
  char sid[17];                /* CHAR(17) NOT NULL */
  int32_t msglenbb;            /* INTEGER NOT NULL */
  char msgtextbb[255];         /* CHAR(255) NOT NULL */
  struct kyt_bb_elem *next;
} kyt_bb_elem;

/* TT */
typedef struct kyt_tt_elem {
  char key[129];               /* CHAR(129) NOT NULL, key 1 */
  char text[1025];             /* CHAR(1025) */
  struct kyt_tt_elem *next;
} kyt_tt_elem;

/* DB */
typedef struct kyt_db_elem {
  char dbversion[128];         /* CHAR(128) NOT NULL, key 1 */
  int32_t dbdate;              /* INTEGER NOT NULL */
  struct kyt_db_elem *next;
} kyt_db_elem;

/* FS */
typedef struct kyt_fs_elem {
  char sid[17];                /* CHAR(17) NOT NULL, key 1 */
  int32_t err;                 /* INTEGER */
  int32_t errno_;              /* INTEGER */
  int32_t errtype;             /* INTEGER */
  char errmsg[1025];           /* CHAR(1025) */
  char dtcreated[20];          /* INTEGER as date-time text */
  struct kyt_fs_elem *next;
} kyt_fs_elem;

/* AC */
typedef struct kyt_ac_elem {
  char sid[17];                /* CHAR(17) NOT NULL, key 1 */
  char port[9];                /* CHAR(9) NOT NULL */
  int16_t databits;            /* SMALLINT NOT NULL */
  int16_t stopbits;            /* SMALLINT NOT NULL */
  char parity[2];              /* CHAR(2) NOT NULL */
  int32_t baudrate;            /* INTEGER NOT NULL */
  int16_t xonxoff;             /* SMALLINT NOT NULL */
  char dialnumber[33];         /* CHAR(33) NOT NULL */
  char dialmethod[2];          /* CHAR(2) NOT NULL */
  char netuid[9];              /* CHAR(9) */
  char netpsw[9];              /* CHAR(9) */
  char padparms[255];          /* CHAR(255) */
  char x25address[16];         /* CHAR(16) */
  struct kyt_ac_elem *next;
} kyt_ac_elem;

/* SV */
typedef struct kyt_sv_elem {
  int32_t keyid;               /* INTEGER, key 1 */
  int16_t flagpublic;          /* SMALLINT, key 2 */
  char sid[17];                /* CHAR(17) NOT NULL */
  char keyname[255];           /* CHAR(255) NOT NULL */
  char dtbegin[20];            /* INTEGER as date-time text NOT NULL */
  char dtend[20];              /* INTEGER as date-time text NOT NULL */
  struct kyt_sv_elem *next;
} kyt_sv_elem;

/* TC */
typedef struct kyt_tc_elem {
  char sid[17];                /* CHAR(17) NOT NULL, key 1 */
  char protocol[2];            /* CHAR(2) NOT NULL, key 2 */
  int32_t n;                   /* INTEGER, key 3 */
  char inaddr[64];             /* CHAR(64) NOT NULL */
  int16_t port;                /* SMALLINT NOT NULL */
  int16_t max_in;              /* SMALLINT */
  int16_t max_out;             /* SMALLINT */
  char security[9];            /* CHAR(9) */
  int32_t rcv_n;               /* INTEGER NOT NULL */
  struct kyt_tc_elem *next;
} kyt_tc_elem;

/* XP */
typedef struct kyt_xp_elem {
  char sid[17];                /* CHAR(17) NOT NULL, key 1 */
  char alias[81];              /* CHAR(81) */
  char recv_alias[81];         /* CHAR(81) */
  int32_t n;                   /* INTEGER, key 2 */
  char xaddress[41];           /* CHAR(41) */
  char subaddress[3];          /* CHAR(3) */
  char timeout[16];            /* CHAR(16) */
  char isdnno[41];             /* CHAR(41) */
  char link[11];               /* CHAR(11) */
  char facilities[219];        /* CHAR(219) */
  int16_t dbit;                /* SMALLINT NOT NULL */
  char cug[3];                 /* CHAR(3) NOT NULL */
  int16_t reqreverse;          /* SMALLINT NOT NULL */
  int16_t accreverse;          /* SMALLINT NOT NULL */
  int16_t fastselect;          /* SMALLINT NOT NULL */
  char userdata[255];          /* CHAR(255) */
  char vc[2];                  /* CHAR(2) NOT NULL */
  int32_t sessions;            /* INTEGER NOT NULL */
  int32_t l3packetsz;          /* INTEGER NOT NULL */
  char isdn_fac[219];          /* CHAR(219) */
  char isdn_usrdt[255];        /* CHAR(255) */
  char isdn_prot[8];           /* CHAR(8) */
  int32_t isdn_tei;            /* INTEGER NOT NULL */
  int32_t rcv_n;               /* INTEGER NOT NULL */
  int32_t rcvtimeout;          /* INTEGER NOT NULL */
  struct kyt_xp_elem *next;
} kyt_xp_elem;

/* LD */
typedef struct kyt_ld_elem {
  int32_t kytdate;             /* INTEGER NOT NULL */
  struct kyt_ld_elem *next;
} kyt_ld_elem;

#ifdef __cplusplus
}
#endif

#endif /* KYT_KYT_ELEM_H */
