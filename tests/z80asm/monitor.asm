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
