; The lower ROM of the monitor and run-loop tests. Interrupts stay off (IM 0, DI after
; reset), so every run is the same.
        org 0
        ld sp,0C000h        ; 0000
        call routine        ; 0003: a step over ends at 0006
        ld ix,1234h         ; 0006: a prefixed instruction, one step
        xor a               ; 000A
count:  inc a               ; 000B
        jr count            ; 000C

routine:
        ld c,3              ; 000E
        ret                 ; 0010

        org 20h
badport:                    ; an output nothing answers
        ld bc,0FFFFh        ; 0020
        out (c),a           ; 0023: stops the machine
        jr badport          ; 0025

        org 30h
poll:                       ; reads PPI port B over and over
        ld bc,0F500h        ; 0030
again:  in a,(c)            ; 0033
        jr again            ; 0035

        org 18h
        ret                 ; 0018: what RST 18h calls

        org 40h             ; stepped over one after the other
        rst 18h             ; 0040: back at 0041 after the routine
        ld b,2              ; 0041
        djnz $              ; 0043: counted one byte long: the step ends on its offset,
        jr $-1              ; 0045: where this jump lands (0044)
        ld bc,2             ; 0047
        ld de,8000h         ; 004A
        ldir                ; 004D: two bytes long: the step ends at 004F
        halt                ; 004F: with interrupts off the step ends at 0050
        nop                 ; 0050: runs on to the output at 0023
        nop                 ; 0051
        jr badport          ; 0052

        org 60h
store:                      ; a write after a while of running
        ld hl,8000h         ; 0060
        ld b,0              ; 0063
wait:   djnz wait           ; 0065: 256 rounds first
        ld (hl),b           ; 0067
        jr store            ; 0068
